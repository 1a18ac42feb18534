#pragma once

#include "signal/feature.h"
#include "signal/simd/gaussian_kernels.h"
#include "signal/simd/vector_kernels.h"
#include "signal/variant.h"

/// The common part of the levels: the file of a level describes its registers in two structs,
/// `floats` and `integers`, and gets its row of the dispatch table from `level<floats, integers>`.
///
/// Everything in these headers is in an unnamed namespace on purpose: the file of each level gets
/// its own copy, compiled with its own flags, that no other file can be linked with.
namespace ns_signal {
namespace {

// The features that the compiler may use in this file; the processor must be checked for them.
constexpr unsigned long long compiled_for = feature_sse2
#ifdef __SSE3__
                                            | feature_sse3
#endif
#ifdef __SSSE3__
                                            | feature_ssse3
#endif
#ifdef __SSE4_1__
                                            | feature_sse41
#endif
#ifdef __SSE4_2__
                                            | feature_sse42
#endif
#ifdef __POPCNT__
                                            | feature_popcnt
#endif
#ifdef __AVX__
                                            | feature_avx | feature_avx_enabled
#endif
#ifdef __FMA__
                                            | feature_fma
#endif
#ifdef __F16C__
                                            | feature_f16c
#endif
#ifdef __AVX2__
                                            | feature_avx2
#endif
#ifdef __AVX512F__
                                            | feature_avx512f
#endif
#ifdef __AVX512BW__
                                            | feature_avx512bw
#endif
#ifdef __AVX512DQ__
                                            | feature_avx512dq
#endif
#ifdef __AVX512VL__
                                            | feature_avx512vl
#endif
#ifdef __AVX512VBMI__
                                            | feature_avx512vbmi
#endif
    ;
static_assert((compiled_for & ~(SIGNAL_LEVEL_NEEDS)) == 0,
              "compiled for more than signal/CMakeLists.txt asks of the processor");

template <class F, class I>
constexpr variant level(const char* name, unsigned long long required,
                        decltype(variant::walk_8u) walk, const scaling_kernels& scaling) {
  using vectors = vector_kernels<F>;
  using gaussian = gaussian_kernels<I>;
  return {name,
          required,
          vectors::convert_8u32f,
          vectors::convert_16u32f,
          vectors::convert_32f8u,
          vectors::mul_c_32f,
          vectors::add_32f,
          vectors::mul_32f,
          {gaussian::filter_3x3_8u, gaussian::profiles_5x5_8u, gaussian::combine_5x5_8u,
           gaussian::filter_3x3_16u, gaussian::filter_5x5_16u},
          walk,
          &scaling};
}

}  // namespace
}  // namespace ns_signal
