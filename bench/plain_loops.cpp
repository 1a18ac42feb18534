#include "bench/plain_loops.h"

#include <cmath>

namespace ns_bench {

void plain_convert_8u32f(const unsigned char* src, float* dst, int len) {
  for (int i = 0; i < len; ++i) dst[i] = static_cast<float>(src[i]);
}

void plain_convert_16u32f(const unsigned short* src, float* dst, int len) {
  for (int i = 0; i < len; ++i) dst[i] = static_cast<float>(src[i]);
}

// NaN gives 0.
void plain_convert_32f8u(const float* src, unsigned char* dst, int len) {
  for (int i = 0; i < len; ++i) {
    const float positive = src[i] > 0.0f ? src[i] : 0.0f;
    const float limited = positive < 255.0f ? positive : 255.0f;
    dst[i] = static_cast<unsigned char>(static_cast<int>(std::nearbyint(limited)));
  }
}

void plain_mul_c_32f(const float* src, float val, float* dst, int len) {
  for (int i = 0; i < len; ++i) dst[i] = src[i] * val;
}

void plain_add_32f(const float* src1, const float* src2, float* dst, int len) {
  for (int i = 0; i < len; ++i) dst[i] = src1[i] + src2[i];
}

void plain_mul_32f(const float* src1, const float* src2, float* dst, int len) {
  for (int i = 0; i < len; ++i) dst[i] = src1[i] * src2[i];
}

}  // namespace ns_bench
