#pragma once

/// The vector primitives as plain loops, compiled for the processor of this machine, to show what
/// the compiler alone achieves. Sources and destination must not overlap.
namespace ns_bench {

void plain_convert_8u32f(const unsigned char* src, float* dst, int len);
void plain_convert_16u32f(const unsigned short* src, float* dst, int len);
void plain_convert_32f8u(const float* src, unsigned char* dst, int len);
void plain_mul_c_32f(const float* src, float val, float* dst, int len);
void plain_add_32f(const float* src1, const float* src2, float* dst, int len);
void plain_mul_32f(const float* src1, const float* src2, float* dst, int len);

}  // namespace ns_bench
