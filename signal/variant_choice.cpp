#include "signal/processor_features.h"

namespace ns_signal {
namespace {

constexpr int status_not_genuine = 20;
constexpr int status_no_sse2 = 36;

bool bit(unsigned int word, int position) { return (word >> position & 1) != 0; }

variant_choice choose_by_features(unsigned int features) {
  variant_choice choice;
  if (features & feature_sse41) {
    choice.index = 3;
    choice.enabled = features & 0xcdf;
  } else if (features & feature_ssse3) {
    choice.index = 2;
    choice.enabled = features & 0x1f;
    choice.low_power = features & feature_movbe ? 1 : 0;
  } else if (features & feature_sse2) {
    choice.index = 1;
    choice.enabled = features & 0x7;
  } else {
    choice.enabled = features & 0x3;
    choice.status = status_no_sse2;
  }
  return choice;
}

}  // namespace

unsigned int feature_word(const processor_facts& facts) {
  const unsigned int ecx = facts.leaf_1.ecx;
  const unsigned int edx = facts.leaf_1.edx;
  unsigned int word = 0;
  const auto add = [&word](bool present, feature f) {
    word |= present ? static_cast<unsigned int>(f) : 0U;
  };

  add(bit(edx, 23), feature_mmx);
  add(bit(edx, 25), feature_sse);
  add(bit(edx, 26), feature_sse2);
  add(bit(ecx, 0), feature_sse3);
  add(bit(ecx, 9), feature_ssse3);
  add(bit(ecx, 22), feature_movbe);
  add(bit(ecx, 19), feature_sse41);
  add(bit(ecx, 20), feature_sse42);
  add(bit(ecx, 28), feature_avx);
  add(bit(ecx, 27) && bit(ecx, 28) && (facts.xcr0 & 6) == 6, feature_avx_enabled);
  add(bit(ecx, 25), feature_aes);
  add(bit(ecx, 1), feature_clmul);
  const unsigned int family = facts.leaf_1.eax >> 8 & 0xf;
  add(family == 11 && bit(facts.leaf_20000001.edx, 1), feature_family_11);
  return word;
}

unsigned long long all_features(const processor_facts& facts) {
  constexpr unsigned int avx512_state = 0xe6;
  unsigned long long features = feature_word(facts);
  const auto add = [&features](bool present, feature f) { features |= present ? f : 0ULL; };

  add(bit(facts.leaf_1.ecx, 23), feature_popcnt);
  const bool avx = (features & feature_avx_enabled) != 0;
  add(avx && bit(facts.leaf_1.ecx, 12), feature_fma);
  add(avx && bit(facts.leaf_1.ecx, 29), feature_f16c);
  add(avx && bit(facts.leaf_7.ebx, 5), feature_avx2);
  const bool avx512 = avx && (facts.xcr0 & avx512_state) == avx512_state;
  add(avx512 && bit(facts.leaf_7.ebx, 16), feature_avx512f);
  add(avx512 && bit(facts.leaf_7.ebx, 30), feature_avx512bw);
  add(avx512 && bit(facts.leaf_7.ebx, 17), feature_avx512dq);
  add(avx512 && bit(facts.leaf_7.ebx, 31), feature_avx512vl);
  add(avx512 && bit(facts.leaf_7.ecx, 1), feature_avx512vbmi);
  return features;
}

variant_choice choose_variant(bool identified, unsigned int features, bool genuine) {
  variant_choice choice;
  if (identified) {
    choice = choose_by_features(features);
  } else {
    choice.status = status_no_sse2;
  }
  // Only a warning: the choice of the variant does not change.
  if (!identified || !genuine) {
    choice.status = status_not_genuine;
  }
  return choice;
}

}  // namespace ns_signal
