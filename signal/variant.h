#pragma once

#include "signal/gaussian_rows.h"
#include "signal/gaussian_walk.h"
#include "signal/processor_variant.h"
#include "signal/shared_word.h"

namespace ns_signal {

/// How `narrow` rounds what lies between 0 and 255.
enum class rounding { toward_zero, nearest_even, half_up };

/// One implementation of every dispatched primitive. The public functions check the arguments and
/// set up the floating-point environment; an implementation finds valid pointers, a length of at
/// least 1 and plain arithmetic.
struct variant {
  void (*convert_8u32f)(const unsigned char* src, float* dst, int len);
  void (*convert_16u32f)(const unsigned short* src, float* dst, int len);
  /// `factor` 1 stands for no multiplication.
  void (*convert_32f8u)(const float* src, unsigned char* dst, int len, rounding mode, float factor);
  void (*mul_c_32f)(const float* src, float val, float* dst, int len);
  void (*add_32f)(const float* src1, const float* src2, float* dst, int len);
  void (*mul_32f)(const float* src1, const float* src2, float* dst, int len);
  gaussian_rows gaussian;
  /// How the 8-bit Gaussian filter goes through the region.
  int (*walk_8u)(const gaussian_rows& rows, const gaussian_region& region, gaussian_mask mask);
};

constexpr int variant_count = 4;

/// The dispatch table, one entry for each variant index, complete before any code runs.
extern const variant* variant_table[variant_count];

/// The variant in force.
inline const variant& current_variant() {
  const int index = load_shared(ippJumpIndexForMergedLibs);
  return *load_shared(variant_table[index >= 0 && index < variant_count ? index : 0]);
}

/// The portable code: the definition of every primitive, and the fallback on every processor. The
/// second form is for index 3, where the 8-bit Gaussian filter allocates nothing and never threads.
extern const variant portable_variant;
extern const variant portable_variant_on_stack;

}  // namespace ns_signal
