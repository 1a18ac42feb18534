#pragma once

#include "signal/gaussian_rows.h"
#include "signal/scaling_kernels.h"

/// Types and names only: files compiled for newer processors include this header, and must not
/// share any code with other files.
namespace ns_signal {

enum class gaussian_mask { three, five };

/// How the conversion to bytes rounds values between 0 and 255.
enum class rounding { toward_zero, nearest_even, half_up };

/// One implementation of every dispatched primitive. The public functions check the arguments and
/// set up the floating-point environment; implementations get valid pointers, a length of at least
/// 1 and plain arithmetic.
struct variant {
  /// Prefix and instruction set, for example "w7_ SSE2".
  const char* name;
  /// The `feature` bits that it requires.
  unsigned long long required;

  void (*convert_8u32f)(const unsigned char* src, float* dst, int len);
  void (*convert_16u32f)(const unsigned short* src, float* dst, int len);
  /// `factor` 1 means no multiplication.
  void (*convert_32f8u)(const float* src, unsigned char* dst, int len, rounding mode, float factor);
  void (*mul_c_32f)(const float* src, float val, float* dst, int len);
  void (*add_32f)(const float* src1, const float* src2, float* dst, int len);
  void (*mul_32f)(const float* src1, const float* src2, float* dst, int len);
  gaussian_rows gaussian;
  /// How the 8-bit Gaussian filter traverses the region.
  int (*walk_8u)(const gaussian_rows& rows, const gaussian_region& region, gaussian_mask mask);
  /// Null if scaling passes use the sequence of primitives instead.
  const scaling_kernels* scaling;
};

/// Traversals of the region for the 8-bit Gaussian filter; each returns the filter's status.
///
/// With scratch rows from `ippsMalloc_8u`, in bands of rows on a team of threads.
int walk_in_bands(const gaussian_rows& rows, const gaussian_region& region, gaussian_mask mask);

/// With scratch rows on the stack, in tiles of columns on the calling thread.
int walk_in_tiles(const gaussian_rows& rows, const gaussian_region& region, gaussian_mask mask);

/// The portable code: the definition of every primitive, and the fallback on every processor. The
/// second form is for index 3, where the 8-bit Gaussian filter allocates nothing and uses no
/// threads.
extern const variant portable_variant;
extern const variant portable_variant_on_stack;

#if SIGNAL_X86_LEVELS
extern const variant w7_variant;
extern const variant v8_variant;
extern const variant p8_variant;
extern const variant p8_avx2_variant;
extern const variant p8_avx512_variant;
#endif

}  // namespace ns_signal
