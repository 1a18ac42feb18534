#pragma once

#include "signal/feature.h"

namespace ns_signal {

/// The result of processor identification for one leaf.
struct cpuid_words {
  unsigned int eax = 0, ebx = 0, ecx = 0, edx = 0;
};

/// The identification data from which the features are computed; a leaf that the processor lacks is
/// all 0. `xcr0` is 0 if the operating system does not support it.
struct processor_facts {
  cpuid_words leaf_1;
  cpuid_words leaf_7;
  cpuid_words leaf_20000001;
  unsigned int xcr0 = 0;
};

/// The public feature word for these data.
unsigned int feature_word(const processor_facts& facts);

/// All `feature` bits for these data, with the public ones lowest.
unsigned long long all_features(const processor_facts& facts);

/// The decision of `ippStaticInit`.
struct variant_choice {
  int index = 0;
  int low_power = 0;
  unsigned int enabled = 0x3;
  int status = 0;
};

/// The choice for a processor. `features` is used only if the processor is identified; `genuine` is
/// whether its vendor string is "GenuineIntel".
variant_choice choose_variant(bool identified, unsigned int features, bool genuine);

}  // namespace ns_signal
