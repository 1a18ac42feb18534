#pragma once

#include "signal/processor_features.h"

/// Identification of the processor; no other file does this. Other architectures than x86 cannot be
/// identified.
namespace ns_signal {

/// Whether the processor can be identified at all.
bool can_identify();

/// One leaf of the identification; zeros if the processor cannot be identified.
cpuid_words identify(unsigned int leaf, unsigned int sub_leaf);

/// The identification data of this processor.
processor_facts this_processor();

/// Whether the vendor string is "GenuineIntel".
bool is_genuine();

}  // namespace ns_signal
