#pragma once

#include "signal/processor_variant.h"
#include "signal/shared_word.h"
#include "signal/variant.h"

namespace ns_signal {

constexpr int variant_count = 4;

/// The dispatch table, one entry for each variant index, complete before any code runs.
/// `ippStaticInit` replaces the entries 2 and 3 with what the processor can run.
extern const variant* variant_table[variant_count];

/// The variant in force.
inline const variant& current_variant() {
  const int index = load_shared(ippJumpIndexForMergedLibs);
  return *load_shared(variant_table[index >= 0 && index < variant_count ? index : 0]);
}

/// What the indices 2 and 3 stand for on a processor with these `feature` bits: the widest form of
/// `v8_` or `p8_` that it can run, or the portable code that walks the same way. The index follows
/// from one bit, but the code needs all of them, and an emulator or hypervisor may hide any.
const variant& widest_v8_variant(unsigned long long features);
const variant& widest_p8_variant(unsigned long long features);

/// Every implementation built, narrowest first, ending with null.
extern const variant* const all_variants[];

}  // namespace ns_signal
