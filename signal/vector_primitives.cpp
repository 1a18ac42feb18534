#include "signal/vector_primitives.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "signal/dispatch.h"
#include "signal/float_environment.h"

namespace {

using ns_signal::current_variant;
using ns_signal::float_environment;
using ns_signal::rounding;

constexpr int status_ok = 0;
constexpr int status_size = -6;
constexpr int status_null_pointer = -8;

template <class... Pointers>
int check(int len, Pointers... pointers) {
  const bool any_null = (... || (pointers == nullptr));
  if (any_null) {
    return status_null_pointer;
  }
  return len < 1 ? status_size : status_ok;
}

float float_of(std::uint32_t bits) {
  float value = 0;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

std::uint32_t bits_of(float value) {
  std::uint32_t bits = 0;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

// 2^-scale, from its bits: the same as repeated multiplication by a half (or by two) in single
// precision.
float scale_factor(int scale) {
  constexpr int mantissa_bits = 23;
  constexpr int bias = 127;
  constexpr std::uint32_t infinity = 0x7f800000;
  if (scale < -bias) {
    return float_of(infinity);
  }
  if (scale < bias) {
    return float_of(static_cast<std::uint32_t>(bias - scale) << mantissa_bits);
  }
  if (scale < bias + mantissa_bits) {
    return float_of(1U << (bias - 1 + mantissa_bits - scale));
  }
  return 0.0F;
}

rounding rounding_of(int round_mode) {
  switch (round_mode) {
    case 0:
      return rounding::toward_zero;
    case 1:
      return rounding::nearest_even;
    default:
      return rounding::half_up;
  }
}

std::size_t byte_count(int len) { return static_cast<std::size_t>(len) * sizeof(float); }

}  // namespace

int ippsConvert_8u32f(const unsigned char* src, float* dst, int len) {
  const int status = check(len, src, dst);
  if (status == status_ok) {
    current_variant().convert_8u32f(src, dst, len);
  }
  return status;
}

int ippsConvert_16u32f(const unsigned short* src, float* dst, int len) {
  const int status = check(len, src, dst);
  if (status == status_ok) {
    current_variant().convert_16u32f(src, dst, len);
  }
  return status;
}

int ippsConvert_32f8u_Sfs(const float* src, unsigned char* dst, int len, int roundMode,
                          int scaleFactor) {
  const int status = check(len, src, dst);
  if (status == status_ok) {
    const float_environment plain(float_environment::invalid_flag::restore);
    current_variant().convert_32f8u(src, dst, len, rounding_of(roundMode),
                                    scale_factor(scaleFactor));
  }
  return status;
}

int ippsMulC_32f(const float* src, float val, float* dst, int len) {
  const int status = check(len, src, dst);
  if (status != status_ok) {
    return status;
  }
  // Compares bits, because a floating-point comparison would depend on the caller's treatment of
  // denormals. Volatile, because clang 19 otherwise replaces the test of the bits by that
  // comparison.
  constexpr std::uint32_t one = 0x3f800000;
  constexpr std::uint32_t sign = 0x80000000;
  const volatile std::uint32_t held = bits_of(val);
  const std::uint32_t bits = held;
  if (bits == one) {
    return ippsCopy_32f(src, dst, len);
  }
  if ((bits & ~sign) == 0) {
    return ippsZero_32f(dst, len);
  }
  const float_environment plain;
  current_variant().mul_c_32f(src, val, dst, len);
  return status_ok;
}

int ippsAdd_32f(const float* src1, const float* src2, float* dst, int len) {
  const int status = check(len, src1, src2, dst);
  if (status == status_ok) {
    const float_environment plain;
    current_variant().add_32f(src1, src2, dst, len);
  }
  return status;
}

int ippsMul_32f(const float* src1, const float* src2, float* dst, int len) {
  const int status = check(len, src1, src2, dst);
  if (status == status_ok) {
    const float_environment plain;
    current_variant().mul_32f(src1, src2, dst, len);
  }
  return status;
}

int ippsCopy_32f(const float* src, float* dst, int len) {
  const int status = check(len, src, dst);
  if (status == status_ok) {
    std::memmove(dst, src, byte_count(len));  // dst may equal src
  }
  return status;
}

int ippsZero_32f(float* dst, int len) {
  const int status = check(len, dst);
  if (status == status_ok) {
    std::memset(dst, 0, byte_count(len));
  }
  return status;
}
