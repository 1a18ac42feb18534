#pragma once

#include "signal/processor_variant.h"
#include "signal/shared_word.h"
#include "signal/variant.h"

namespace ns_signal {

constexpr int variant_count = 4;

/// The dispatch table, one entry per variant index, initialised before any code runs.
/// `ippStaticInit` replaces entries 2 and 3 by the variants that the processor can run.
extern const variant* variant_table[variant_count];

/// The current variant.
inline const variant& current_variant() {
  const int index = load_shared(ippJumpIndexForMergedLibs);
  return *load_shared(variant_table[index >= 0 && index < variant_count ? index : 0]);
}

/// The variants for indices 2 and 3 on a processor with these `feature` bits: the widest form of
/// `v8_` or `p8_` that it can run, or the portable code that walks in the same way. The index
/// depends on one bit only, but the code needs all of them, and an emulator or hypervisor may hide
/// any.
const variant& widest_v8_variant(unsigned long long features);
const variant& widest_p8_variant(unsigned long long features);

/// All implementations that are built, narrowest first, with a null pointer at the end.
extern const variant* const all_variants[];

}  // namespace ns_signal
