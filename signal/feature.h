#pragma once

namespace ns_signal {

/// Features of a processor, including support by the operating system where that is needed.
enum feature : unsigned long long {
  // The public feature word.
  feature_mmx = 0x1,
  feature_sse = 0x2,
  feature_sse2 = 0x4,
  feature_sse3 = 0x8,
  feature_ssse3 = 0x10,
  feature_movbe = 0x20,
  feature_sse41 = 0x40,
  feature_sse42 = 0x80,
  feature_avx = 0x100,
  feature_avx_enabled = 0x200,
  feature_aes = 0x400,
  feature_clmul = 0x800,
  feature_family_11 = 0x1000,
  // Used by this library only.
  feature_popcnt = 1ULL << 32,
  feature_fma = 1ULL << 33,
  feature_f16c = 1ULL << 34,
  feature_avx2 = 1ULL << 35,
  feature_avx512f = 1ULL << 36,
  feature_avx512bw = 1ULL << 37,
  feature_avx512dq = 1ULL << 38,
  feature_avx512vl = 1ULL << 39,
  feature_avx512vbmi = 1ULL << 40,
};

}  // namespace ns_signal
