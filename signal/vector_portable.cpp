#include "signal/vector_portable.h"

namespace ns_signal::portable {
namespace {

bool rounds_up(int whole, float rest, rounding mode) {
  switch (mode) {
    case rounding::toward_zero:
      return false;
    case rounding::nearest_even:
      return rest > 0.5F || (rest == 0.5F && whole % 2 == 1);
    case rounding::half_up:
      return rest >= 0.5F;
  }
  return false;
}

// Exact at every step, because the difference between a number below 255 and its integer part is
// representable; so the result does not depend on the rounding mode. The first test includes NaN.
unsigned char narrow(float value, rounding mode) {
  if (!(value < 255.0F)) {
    return 255;
  }
  if (value <= 0.0F) {
    return 0;
  }
  const int whole = static_cast<int>(value);
  const float rest = value - static_cast<float>(whole);
  return static_cast<unsigned char>(whole + (rounds_up(whole, rest, mode) ? 1 : 0));
}

bool is_nan(float value) { return value != value; }  // NOLINT(misc-redundant-expression)

// The second operand, or 0 if the first is a NaN. Processors and compilers differ in which of two
// NaNs an operation returns; with only one NaN the result is that one.
float unless_nan(float first, float second) { return is_nan(first) ? 0.0F : second; }

}  // namespace

void convert_8u32f(const unsigned char* src, float* dst, int len) {
  for (int i = 0; i < len; ++i) {
    dst[i] = src[i];
  }
}

void convert_16u32f(const unsigned short* src, float* dst, int len) {
  for (int i = 0; i < len; ++i) {
    dst[i] = src[i];
  }
}

void convert_32f8u(const float* src, unsigned char* dst, int len, rounding mode, float factor) {
  const bool nan_is_zero = mode != rounding::half_up;
  for (int i = 0; i < len; ++i) {
    const float value = factor == 1.0F ? src[i] : src[i] * factor;
    dst[i] = nan_is_zero && is_nan(src[i]) ? 0 : narrow(value, mode);
  }
}

void mul_c_32f(const float* src, float val, float* dst, int len) {
  for (int i = 0; i < len; ++i) {
    dst[i] = src[i] * unless_nan(src[i], val);
  }
}

void add_32f(const float* src1, const float* src2, float* dst, int len) {
  for (int i = 0; i < len; ++i) {
    dst[i] = src1[i] + unless_nan(src1[i], src2[i]);
  }
}

void mul_32f(const float* src1, const float* src2, float* dst, int len) {
  for (int i = 0; i < len; ++i) {
    dst[i] = src1[i] * unless_nan(src1[i], src2[i]);
  }
}

}  // namespace ns_signal::portable
