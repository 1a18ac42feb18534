#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "signal/variant.h"

/// The vector primitives for registers of any width; see level.h.
namespace ns_signal {
namespace {

template <class F>
struct vector_kernels {
  using reg = typename F::reg;
  static constexpr std::ptrdiff_t n = F::count;

  // dst[i] = operation(a[i], b[i]). The first and the last register are computed before anything is
  // stored, because the destination may be a source, and stored last. They may overlap the
  // registers between them, which begin where the destination is aligned.
  template <class Operation>
  static void map(const float* a, const float* b, float* dst, std::ptrdiff_t len,
                  Operation operation) {
    if (len < n) {
      const std::size_t bytes = static_cast<std::size_t>(len) * sizeof(float);
      float x[n] = {};
      float y[n] = {};
      std::memcpy(x, a, bytes);
      std::memcpy(y, b, bytes);
      F::store(x, operation(F::load(x), F::load(y)));
      std::memcpy(dst, x, bytes);
      return;
    }
    const std::ptrdiff_t end = len - n;
    const reg first = operation(F::load(a), F::load(b));
    const reg last = operation(F::load(a + end), F::load(b + end));
    std::ptrdiff_t i =
        n - static_cast<std::ptrdiff_t>(reinterpret_cast<std::uintptr_t>(dst) / sizeof(float) % n);
    for (; i < end - 3 * n; i += 4 * n) {
      for (int k = 0; k < 4; ++k) {
        const std::ptrdiff_t at = i + k * n;
        F::store(dst + at, operation(F::load(a + at), F::load(b + at)));
      }
    }
    for (; i < end; i += n) {
      F::store(dst + i, operation(F::load(a + i), F::load(b + i)));
    }
    F::store(dst, first);
    F::store(dst + end, last);
  }

  // With two NaNs the result is the first one, as in the portable code.
  static reg add(reg a, reg b) { return F::add(a, F::zero_where_nan(a, b)); }
  static reg mul(reg a, reg b) { return F::mul(a, F::zero_where_nan(a, b)); }

  static void add_32f(const float* src1, const float* src2, float* dst, int len) {
    map(src1, src2, dst, len, add);
  }

  static void mul_32f(const float* src1, const float* src2, float* dst, int len) {
    map(src1, src2, dst, len, mul);
  }

  static void mul_c_32f(const float* src, float val, float* dst, int len) {
    const reg factor = F::all(val);
    if (val == val) {  // NOLINT(misc-redundant-expression): not NaN
      map(src, src, dst, len, [factor](reg a, reg) { return F::mul(a, factor); });
    } else {
      map(src, src, dst, len, [factor](reg a, reg) { return mul(a, factor); });
    }
  }

  // Complete blocks of `block` elements; the last one may overlap the previous one. A vector
  // shorter than a block is copied to and from buffers. Not for conversions in place.
  template <std::ptrdiff_t block, class Source, class Destination, class Operation>
  static void convert(const Source* src, Destination* dst, std::ptrdiff_t len,
                      Operation operation) {
    if (len < block) {
      Source from[block] = {};
      Destination to[block];
      std::memcpy(from, src, static_cast<std::size_t>(len) * sizeof(Source));
      operation(from, to);
      std::memcpy(dst, to, static_cast<std::size_t>(len) * sizeof(Destination));
      return;
    }
    for (std::ptrdiff_t i = 0; i < len - block; i += block) {
      operation(src + i, dst + i);
    }
    operation(src + len - block, dst + len - block);
  }

  static void convert_8u32f(const unsigned char* src, float* dst, int len) {
    convert<F::widened>(src, dst, len,
                        [](const unsigned char* from, float* to) { F::widen(from, to); });
  }

  static void convert_16u32f(const unsigned short* src, float* dst, int len) {
    convert<F::widened>(src, dst, len,
                        [](const unsigned short* from, float* to) { F::widen(from, to); });
  }

  // Converts to integers of at most 255; negative ones stand for 0.
  template <rounding mode, bool scaled>
  static typename F::ints round(reg source, reg factor) {
    // If one operand of `min` is NaN, the result is the second operand.
    if constexpr (mode == rounding::half_up) {
      const reg value = F::min(scaled ? F::mul(source, factor) : source, F::all(255.0F));
      const typename F::ints whole = F::truncate(value);
      return F::add_one_from_half_on(whole, F::sub(value, F::to_float(whole)));
    } else {
      // An unscaled NaN passes through `min` here and becomes the most negative integer.
      const reg value =
          scaled ? F::zero_where_nan(source, F::min(F::mul(source, factor), F::all(255.0F)))
                 : F::min(F::all(255.0F), source);
      return mode == rounding::nearest_even ? F::to_nearest(value) : F::truncate(value);
    }
  }

  template <rounding mode, bool scaled>
  static void narrow(const float* src, unsigned char* dst, std::ptrdiff_t len, float factor) {
    const reg by = F::all(factor);
    convert<4 * n>(src, dst, len, [by](const float* from, unsigned char* to) {
      F::store_bytes(to, round<mode, scaled>(F::load(from), by),
                     round<mode, scaled>(F::load(from + n), by),
                     round<mode, scaled>(F::load(from + 2 * n), by),
                     round<mode, scaled>(F::load(from + 3 * n), by));
    });
  }

  template <rounding mode>
  static void narrow(const float* src, unsigned char* dst, std::ptrdiff_t len, float factor) {
    if (factor == 1.0F) {
      narrow<mode, false>(src, dst, len, factor);
    } else {
      narrow<mode, true>(src, dst, len, factor);
    }
  }

  static void convert_32f8u(const float* src, unsigned char* dst, int len, rounding mode,
                            float factor) {
    switch (mode) {
      case rounding::toward_zero:
        return narrow<rounding::toward_zero>(src, dst, len, factor);
      case rounding::nearest_even:
        return narrow<rounding::nearest_even>(src, dst, len, factor);
      case rounding::half_up:
        return narrow<rounding::half_up>(src, dst, len, factor);
    }
  }
};

}  // namespace
}  // namespace ns_signal
