#include "signal/dispatch.h"

#include <initializer_list>

namespace ns_signal {

const scaling_kernels* current_scaling_kernels() { return current_variant().scaling; }

#if SIGNAL_X86_LEVELS

const variant* variant_table[variant_count] = {&w7_variant, &w7_variant, &v8_variant, &p8_variant};

const variant* const all_variants[] = {
    &portable_variant, &portable_variant_on_stack, &w7_variant,        &v8_variant,
    &p8_variant,       &p8_avx2_variant,           &p8_avx512_variant, nullptr};

namespace {

bool runs(const variant& candidate, unsigned long long features) {
  return (features & candidate.required) == candidate.required;
}

}  // namespace

const variant& widest_v8_variant(unsigned long long features) {
  return runs(v8_variant, features) ? v8_variant : portable_variant;
}

const variant& widest_p8_variant(unsigned long long features) {
  for (const variant* candidate : {&p8_avx512_variant, &p8_avx2_variant, &p8_variant}) {
    if (runs(*candidate, features)) {
      return *candidate;
    }
  }
  return portable_variant_on_stack;
}

#else

const variant* variant_table[variant_count] = {&portable_variant, &portable_variant,
                                               &portable_variant, &portable_variant_on_stack};

const variant* const all_variants[] = {&portable_variant, &portable_variant_on_stack, nullptr};

const variant& widest_v8_variant(unsigned long long) { return portable_variant; }

const variant& widest_p8_variant(unsigned long long) { return portable_variant_on_stack; }

#endif

}  // namespace ns_signal
