#pragma once

#include "signal/processor_features.h"

/// The only place that asks the processor. On architectures other than x86 nothing is known.
namespace ns_signal {

/// Whether the processor can be identified at all.
bool can_identify();

/// One leaf of the identification; zeros where the processor cannot be identified.
cpuid_words identify(unsigned int leaf, unsigned int sub_leaf);

/// The facts of this processor.
processor_facts this_processor();

/// Whether the vendor string is "GenuineIntel".
bool is_genuine();

}  // namespace ns_signal
