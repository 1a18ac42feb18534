#include <gtest/gtest.h>

#include "signal/dispatch.h"
#include "signal/processor_features.h"

namespace {

using ns_signal::choose_variant;
using ns_signal::feature_word;
using ns_signal::processor_facts;
using ns_signal::variant_choice;

constexpr unsigned int every_feature = 0x1fff;

processor_facts with_leaf_1(unsigned int ecx, unsigned int edx) {
  processor_facts facts;
  facts.leaf_1.ecx = ecx;
  facts.leaf_1.edx = edx;
  return facts;
}

struct feature_case {
  unsigned int expected;
  unsigned int ecx;
  unsigned int edx;
};

TEST(FeatureWord, EachBitComesFromItsOwnPlace) {
  const feature_case cases[] = {
      {0x1, 0, 1U << 23},   {0x2, 0, 1U << 25},   {0x4, 0, 1U << 26},  {0x8, 1U << 0, 0},
      {0x10, 1U << 9, 0},   {0x20, 1U << 22, 0},  {0x40, 1U << 19, 0}, {0x80, 1U << 20, 0},
      {0x100, 1U << 28, 0}, {0x400, 1U << 25, 0}, {0x800, 1U << 1, 0},
  };
  unsigned int known_ecx = 0;
  unsigned int known_edx = 0;
  for (const feature_case& c : cases) {
    EXPECT_EQ(feature_word(with_leaf_1(c.ecx, c.edx)), c.expected);
    known_ecx |= c.ecx;
    known_edx |= c.edx;
  }
  EXPECT_EQ(feature_word(with_leaf_1(~known_ecx, ~known_edx)), 0U);
}

TEST(FeatureWord, EnabledAvxNeedsBothBitsAndBothStates) {
  constexpr unsigned int osxsave = 1U << 27;
  constexpr unsigned int avx = 1U << 28;
  for (const unsigned int ecx : {0U, osxsave, avx, osxsave | avx}) {
    for (unsigned int xcr0 = 0; xcr0 < 16; ++xcr0) {
      processor_facts facts = with_leaf_1(ecx, 0);
      facts.xcr0 = xcr0;
      const bool enabled =
          ecx == (osxsave | avx) && (xcr0 == 6 || xcr0 == 7 || xcr0 == 14 || xcr0 == 15);
      EXPECT_EQ(feature_word(facts) & 0x200, enabled ? 0x200U : 0U) << ecx << ' ' << xcr0;
    }
  }
}

TEST(FeatureWord, ExtensionCountsOnlyInFamilyEleven) {
  for (unsigned int family = 0; family < 16; ++family) {
    processor_facts facts;
    facts.leaf_1.eax = 0xfffff0ff | family << 8;
    facts.leaf_20000001.edx = ~0x2U;
    EXPECT_EQ(feature_word(facts), 0U);
    facts.leaf_20000001.edx = 0x2;
    EXPECT_EQ(feature_word(facts), family == 11 ? 0x1000U : 0U);
  }
}

TEST(VariantChoice, FirstMatchingRuleDecides) {
  for (unsigned int f = 0; f <= every_feature; ++f) {
    const variant_choice choice = choose_variant(true, f, true);
    const bool sse41 = (f & 0x40) != 0;
    const bool ssse3 = (f & 0x10) != 0;
    const bool movbe = (f & 0x20) != 0;
    const bool sse2 = (f & 0x4) != 0;
    const int index = sse41 ? 3 : ssse3 ? 2 : sse2 ? 1 : 0;
    const unsigned int kept[] = {0x3, 0x7, 0x1f, 0xcdf};
    ASSERT_EQ(choice.index, index) << f;
    ASSERT_EQ(choice.enabled, f & kept[index]) << f;
    ASSERT_EQ(choice.low_power, !sse41 && ssse3 && movbe ? 1 : 0) << f;
    ASSERT_EQ(choice.status, index == 0 ? 36 : 0) << f;
  }
}

TEST(VariantChoice, KnownProcessors) {
  // SSE2, no SSE3.
  variant_choice choice = choose_variant(true, 0x7, true);
  EXPECT_EQ(choice.index, 1);
  EXPECT_EQ(choice.enabled, 0x7U);
  // SSE3 adds nothing.
  choice = choose_variant(true, 0xf, true);
  EXPECT_EQ(choice.index, 1);
  EXPECT_EQ(choice.enabled, 0x7U);
  // SSSE3, then with MOVBE.
  choice = choose_variant(true, 0x1f, true);
  EXPECT_EQ(choice.index, 2);
  EXPECT_EQ(choice.low_power, 0);
  choice = choose_variant(true, 0x3f, true);
  EXPECT_EQ(choice.index, 2);
  EXPECT_EQ(choice.low_power, 1);
  EXPECT_EQ(choice.enabled, 0x1fU);
  // Everything: neither MOVBE nor AVX is ever enabled.
  choice = choose_variant(true, every_feature, true);
  EXPECT_EQ(choice.index, 3);
  EXPECT_EQ(choice.low_power, 0);
  EXPECT_EQ(choice.enabled, 0xcdfU);
}

TEST(VariantChoice, AnotherVendorIsAWarningOnly) {
  for (unsigned int f = 0; f <= every_feature; ++f) {
    const variant_choice genuine = choose_variant(true, f, true);
    const variant_choice other = choose_variant(true, f, false);
    ASSERT_EQ(other.status, 20);
    ASSERT_EQ(other.index, genuine.index);
    ASSERT_EQ(other.enabled, genuine.enabled);
    ASSERT_EQ(other.low_power, genuine.low_power);
  }
}

TEST(VariantChoice, WithoutIdentificationNothingIsEnabled) {
  for (const bool genuine : {false, true}) {
    const variant_choice choice = choose_variant(false, every_feature, genuine);
    EXPECT_EQ(choice.index, 0);
    EXPECT_EQ(choice.low_power, 0);
    EXPECT_EQ(choice.enabled, 3U);
    EXPECT_EQ(choice.status, 20);
  }
}

#if SIGNAL_X86_LEVELS

// The features that the compiler may use in the file of each variant, as bits of the
// identification.
struct form {
  const ns_signal::variant* code;
  unsigned int leaf_1_edx, leaf_1_ecx, leaf_7_ebx, leaf_7_ecx, xcr0;

  bool runs_on(const processor_facts& f) const {
    const auto within = [](unsigned int bits, unsigned int all) { return (bits & ~all) == 0; };
    return within(leaf_1_edx, f.leaf_1.edx) && within(leaf_1_ecx, f.leaf_1.ecx) &&
           within(leaf_7_ebx, f.leaf_7.ebx) && within(leaf_7_ecx, f.leaf_7.ecx) &&
           within(xcr0, f.xcr0);
  }
};

constexpr unsigned int sse2 = 1U << 26;
constexpr unsigned int sse3_ssse3 = 1U << 0 | 1U << 9;
constexpr unsigned int to_sse41 = sse3_ssse3 | 1U << 19;
// SSE4.2, POPCNT, XGETBV, AVX.
constexpr unsigned int to_avx = to_sse41 | 1U << 20 | 1U << 23 | 1U << 27 | 1U << 28;
constexpr unsigned int fma_f16c = 1U << 12 | 1U << 29;
constexpr unsigned int avx2 = 1U << 5;
constexpr unsigned int avx512 = 1U << 16 | 1U << 17 | 1U << 30 | 1U << 31;
constexpr unsigned int vbmi = 1U << 1;

const form v8_forms[] = {{&ns_signal::v8_variant, sse2, sse3_ssse3, 0, 0, 0},
                         {&ns_signal::portable_variant, 0, 0, 0, 0, 0}};

const form p8_forms[] = {
    {&ns_signal::p8_avx512_variant, sse2, to_avx | fma_f16c, avx2 | avx512, vbmi, 0xe6},
    {&ns_signal::p8_avx2_variant, sse2, to_avx, avx2, 0, 0x6},
    {&ns_signal::p8_variant, sse2, to_sse41, 0, 0, 0},
    {&ns_signal::portable_variant_on_stack, 0, 0, 0, 0, 0}};

// The last one runs on every processor.
const ns_signal::variant* widest_of(const form* forms, const processor_facts& facts) {
  while (!forms->runs_on(facts)) {
    ++forms;
  }
  return forms->code;
}

// Calls `visit` for every subset of the bits of `mask`.
template <class Visit>
void for_each_subset(unsigned int mask, Visit visit) {
  unsigned int subset = 0;
  do {
    visit(subset);
    subset = (subset - mask) & mask;
  } while (subset != 0);
}

TEST(InstalledVariant, CanRunWhateverIsMasked) {
  processor_facts facts;
  const auto check = [&facts] {
    const unsigned long long features = ns_signal::all_features(facts);
    ASSERT_EQ(&ns_signal::widest_v8_variant(features), widest_of(v8_forms, facts));
    ASSERT_EQ(&ns_signal::widest_p8_variant(features), widest_of(p8_forms, facts))
        << std::hex << facts.leaf_1.edx << ' ' << facts.leaf_1.ecx << ' ' << facts.leaf_7.ebx << ' '
        << facts.leaf_7.ecx << ' ' << facts.xcr0;
  };
  for_each_subset(to_avx | fma_f16c, [&](unsigned int leaf_1_ecx) {
    facts.leaf_1.ecx = leaf_1_ecx;
    for (const unsigned int xcr0 : {0x0U, 0x2U, 0x6U, 0x66U, 0xe6U}) {
      facts.xcr0 = xcr0;
      for_each_subset(avx2 | avx512, [&](unsigned int leaf_7_ebx) {
        facts.leaf_7.ebx = leaf_7_ebx;
        for (const unsigned int leaf_7_ecx : {0U, vbmi}) {
          facts.leaf_7.ecx = leaf_7_ecx;
          for (const unsigned int leaf_1_edx : {0U, sse2}) {
            facts.leaf_1.edx = leaf_1_edx;
            ASSERT_NO_FATAL_FAILURE(check());
          }
        }
      });
    }
  });
}

TEST(InstalledVariant, WalksAsItsIndexPromises) {
  for (const unsigned long long features : {0ULL, ~0ULL}) {
    EXPECT_EQ(ns_signal::widest_v8_variant(features).walk_8u, ns_signal::walk_in_bands);
    EXPECT_EQ(ns_signal::widest_p8_variant(features).walk_8u, ns_signal::walk_in_tiles);
  }
}

#endif

}  // namespace
