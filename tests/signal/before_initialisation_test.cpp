#include <gtest/gtest.h>

#include "signal/dispatch.h"
#include "signal/processor_variant.h"
#include "signal/vector_primitives.h"

namespace {

TEST(BeforeInitialisation, ProcessWideWordsHaveTheirFirstValues) {
  EXPECT_EQ(ippJumpIndexForMergedLibs, 0);
  EXPECT_EQ(ippJumpIndexForMergedLibsLP, 0);
  EXPECT_EQ(ownFeaturesMask[0], 3U);
  EXPECT_EQ(ownFeaturesMask[1], 0U);
  EXPECT_EQ(ippGetEnabledCpuFeatures(), 3ULL);
  EXPECT_EQ(threads_omp_of_n_ipp, 1);
}

TEST(BeforeInitialisation, EveryPrimitiveWorks) {
  const unsigned char bytes[3] = {0, 7, 255};
  const unsigned short words[3] = {0, 300, 65535};
  float a[3];
  float b[3];
  unsigned char narrow[3];
  EXPECT_EQ(ippsConvert_8u32f(bytes, a, 3), 0);
  EXPECT_EQ(a[2], 255.0F);
  EXPECT_EQ(ippsConvert_16u32f(words, b, 3), 0);
  EXPECT_EQ(b[2], 65535.0F);
  EXPECT_EQ(ippsAdd_32f(a, b, b, 3), 0);
  EXPECT_EQ(b[1], 307.0F);
  EXPECT_EQ(ippsMul_32f(a, a, b, 3), 0);
  EXPECT_EQ(b[1], 49.0F);
  EXPECT_EQ(ippsMulC_32f(a, 3.0F, b, 3), 0);
  EXPECT_EQ(b[1], 21.0F);
  EXPECT_EQ(ippsConvert_32f8u_Sfs(b, narrow, 3, 1, 0), 0);
  EXPECT_EQ(narrow[1], 21);
  EXPECT_EQ(narrow[2], 255);
  EXPECT_EQ(ippJumpIndexForMergedLibs, 0);
}

int index_called = -1;

template <int index>
void record(const float*, const float*, float*, int) {
  index_called = index;
}

// Each index selects its own entry, and all other values select entry 0.
TEST(BeforeInitialisation, IndexSelectsTheEntry) {
  ns_signal::variant recorders[ns_signal::variant_count];
  recorders[0].add_32f = record<0>;
  recorders[1].add_32f = record<1>;
  recorders[2].add_32f = record<2>;
  recorders[3].add_32f = record<3>;
  const ns_signal::variant* real[ns_signal::variant_count];
  for (int i = 0; i < ns_signal::variant_count; ++i) {
    real[i] = ns_signal::variant_table[i];
    ns_signal::variant_table[i] = &recorders[i];
  }
  float x = 1;
  const auto entry_of = [&x](int index) {
    ippJumpIndexForMergedLibs = index;
    index_called = -1;
    ippsAdd_32f(&x, &x, &x, 1);
    return index_called;
  };
  for (int i = 0; i < ns_signal::variant_count; ++i) {
    EXPECT_EQ(entry_of(i), i);
  }
  EXPECT_EQ(entry_of(4), 0);
  EXPECT_EQ(entry_of(-1), 0);
  EXPECT_EQ(entry_of(1 << 30), 0);
  ippJumpIndexForMergedLibs = 0;
  for (int i = 0; i < ns_signal::variant_count; ++i) {
    ns_signal::variant_table[i] = real[i];
  }
}

}  // namespace
