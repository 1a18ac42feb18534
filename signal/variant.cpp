#include "signal/variant.h"

#include "signal/vector_portable.h"

namespace ns_signal {

const variant portable_variant = {
    portable::convert_8u32f, portable::convert_16u32f, portable::convert_32f8u,
    portable::mul_c_32f,     portable::add_32f,        portable::mul_32f,
};

const variant* variant_table[variant_count] = {&portable_variant, &portable_variant,
                                               &portable_variant, &portable_variant};

}  // namespace ns_signal
