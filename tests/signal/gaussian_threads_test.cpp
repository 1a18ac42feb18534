#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <cstdlib>
#include <mutex>
#include <set>

#include "signal/dispatch.h"
#include "signal/gaussian_filter.h"
#include "signal/vector_primitives.h"
#include "tests/signal/gaussian_reference.h"
#include "tests/signal/variant_scope.h"

namespace {

namespace reference = gaussian_reference;
using bytes_picture = reference::picture<unsigned char>;

constexpr int heights[] = {1, 2, 3, 4, 5, 6, 7, 8, 13, 14, 15, 255, 256, 257};

void expect_same_for_every_team(const ns_signal::variant& variant, int width, int height) {
  std::mt19937 random(static_cast<unsigned int>(height));
  for (const int mask : {33, 55}) {
    const bytes_picture p = reference::random_picture<unsigned char>(width, height, mask, random);
    const std::vector<unsigned char> expected = reference::filter(p, mask);
    for (const int threads : {1, 2, 3, 7}) {
      const variant_scope scope(variant, threads);
      const auto out = reference::run(p, mask, 3, 5);
      ASSERT_EQ(out.status, 0);
      ASSERT_EQ(out.region, expected)
          << variant.name << ", " << threads << " threads, height " << height << ", mask " << mask;
      ASSERT_TRUE(out.rest_untouched);
    }
  }
}

TEST(GaussianThreads, EveryTeamGivesTheSame) {
  for (const ns_signal::variant* variant : runnable_variants()) {
    for (const int height : heights) {
      expect_same_for_every_team(*variant, 37, height);
      expect_same_for_every_team(*variant, 1, height);
    }
  }
}

// Inside a parallel region of the caller, the runtime provides a team of one.
TEST(GaussianThreads, SerialisedRegionGivesTheSame) {
  omp_set_max_active_levels(1);
  for (const int height : heights) {
#pragma omp parallel num_threads(2)
    {
#pragma omp master
      expect_same_for_every_team(ns_signal::portable_variant, 37, height);
    }
  }
}

// Observations of the operations: the threads, the team size, and the rows.
struct observation {
  std::mutex mutex;
  std::set<int> teams;
  std::set<int> threads;
  int rows = 0;
  bool in_parallel = false;

  void note(int count) {
    const std::lock_guard<std::mutex> lock(mutex);
    teams.insert(omp_get_num_threads());
    threads.insert(omp_get_thread_num());
    in_parallel = in_parallel || omp_in_parallel() != 0;
    rows += count;
  }
};

observation* seen = nullptr;

void observed_3x3(const ns_signal::gaussian_region& region, unsigned short* sums) {
  seen->note(static_cast<int>(region.height));
  ns_signal::portable_variant.gaussian.filter_3x3_8u(region, sums);
}

void observed_combine_5x5(const ns_signal::row_profiles src[5], unsigned char* dst,
                          std::ptrdiff_t width) {
  seen->note(1);
  ns_signal::portable_variant.gaussian.combine_5x5_8u(src, dst, width);
}

class GaussianTeam : public testing::Test {
 protected:
  void SetUp() override {
    observed_ = ns_signal::portable_variant;
    observed_.gaussian.filter_3x3_8u = observed_3x3;
    observed_.gaussian.combine_5x5_8u = observed_combine_5x5;
    seen = &seen_;
  }
  void TearDown() override { i_malloc = std::malloc; }

  void run(int mask, int height, int threads) {
    seen_.teams.clear();
    seen_.threads.clear();
    seen_.rows = 0;
    seen_.in_parallel = false;
    const variant_scope scope(observed_, threads);
    std::mt19937 random(1);
    const bytes_picture p = reference::random_picture<unsigned char>(9, height, mask, random);
    EXPECT_EQ(reference::run(p, mask).region, reference::filter(p, mask));
    EXPECT_EQ(seen_.rows, height);
  }

  // The environment may limit the runtime.
  static int granted(int threads) { return std::min(threads, omp_get_thread_limit()); }

  observation seen_;
  ns_signal::variant observed_{};
};

TEST_F(GaussianTeam, SmallMaskForksFrom256Rows) {
  run(33, 255, 2);
  EXPECT_FALSE(seen_.in_parallel);
  EXPECT_EQ(seen_.teams, std::set<int>{1});
  run(33, 256, 2);
  EXPECT_TRUE(seen_.in_parallel);
  EXPECT_EQ(seen_.teams, std::set<int>{2});
  EXPECT_EQ(seen_.threads, (std::set<int>{0, 1}));
  run(33, 256, 1);
  EXPECT_FALSE(seen_.in_parallel);
}

TEST_F(GaussianTeam, LargeMaskForksAtAnyHeight) {
  run(55, 2, 2);
  EXPECT_TRUE(seen_.in_parallel);
  EXPECT_EQ(seen_.threads, (std::set<int>{0, 1}));
  run(55, 1000, 1);
  EXPECT_FALSE(seen_.in_parallel);
}

TEST_F(GaussianTeam, LastThreadTakesTheRemainder) {
  // Fewer rows than threads: empty bands, and all rows for the last thread.
  run(55, 2, 3);
  const int team = granted(3);
  EXPECT_EQ(seen_.teams, std::set<int>{team});
  EXPECT_EQ(seen_.threads, team == 3 ? (std::set<int>{2}) : (std::set<int>{0, 1}));
}

void* malloc_that_lowers_the_setting(std::size_t size) {
  ippSetNumThreads(2);
  return std::malloc(size);
}

void* malloc_that_raises_the_setting(std::size_t size) {
  ippSetNumThreads(64);
  return std::malloc(size);
}

// The setting is read before and after the allocation, and the smaller value counts.
TEST_F(GaussianTeam, SmallerOfTwoReadingsCounts) {
  i_malloc = malloc_that_lowers_the_setting;
  run(55, 40, 4);
  EXPECT_EQ(seen_.teams, std::set<int>{2});
  i_malloc = malloc_that_raises_the_setting;
  run(55, 40, 2);
  EXPECT_EQ(seen_.teams, std::set<int>{2});
}

}  // namespace
