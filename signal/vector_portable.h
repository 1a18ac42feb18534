#pragma once

#include "signal/variant.h"

namespace ns_signal::portable {

void convert_8u32f(const unsigned char* src, float* dst, int len);
void convert_16u32f(const unsigned short* src, float* dst, int len);
void convert_32f8u(const float* src, unsigned char* dst, int len, rounding mode, float factor);
void mul_c_32f(const float* src, float val, float* dst, int len);
void add_32f(const float* src1, const float* src2, float* dst, int len);
void mul_32f(const float* src1, const float* src2, float* dst, int len);

}  // namespace ns_signal::portable
