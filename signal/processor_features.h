#pragma once

namespace ns_signal {

/// Bits of the public feature word.
enum feature : unsigned int {
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
};

/// What processor identification answers for one leaf.
struct cpuid_words {
  unsigned int eax = 0, ebx = 0, ecx = 0, edx = 0;
};

/// The facts that the feature word is made from. `xcr0` is 0 where the operating system does not
/// offer it.
struct processor_facts {
  cpuid_words leaf_1;
  cpuid_words leaf_20000001;
  unsigned int xcr0 = 0;
};

/// The feature word that follows from the facts.
unsigned int feature_word(const processor_facts& facts);

/// What `ippStaticInit` decides.
struct variant_choice {
  int index = 0;
  int low_power = 0;
  unsigned int enabled = feature_mmx | feature_sse;
  int status = 0;
};

/// The choice for a processor. `features` counts only when the processor is identified; `genuine`
/// says that its vendor string is "GenuineIntel".
variant_choice choose_variant(bool identified, unsigned int features, bool genuine);

}  // namespace ns_signal
