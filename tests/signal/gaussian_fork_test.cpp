// The Gaussian filter in children of `fork`. A separate program, because what a child may do
// depends on what the process has done before.

#include <gtest/gtest.h>
#include <omp.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <random>

#include "tests/signal/gaussian_reference.h"
#include "tests/signal/variant_scope.h"

namespace {

namespace reference = gaussian_reference;

constexpr unsigned int patience = 20;  // seconds
constexpr int wanted_threads = 2;

// Returns the wait status of a child that runs `body` and exits with its result; a signal ends a
// child that hangs.
int status_of_child(const std::function<int()>& body) {
  const pid_t child = ::fork();
  if (child == 0) {
    ::alarm(patience);
    ::_exit(body());
  }
  int status = -1;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  return status;
}

int exit_with(int code) { return code << 8; }

bool is_exact(const ns_signal::variant& variant, int mask) {
  const variant_scope scope(variant, wanted_threads);
  std::mt19937 random(1);
  const auto source = reference::random_picture<unsigned char>(37, 256, mask, random);
  return reference::run(source, mask).region == reference::filter(source, mask);
}

int largest_team = 0;

void noting_combine(const ns_signal::row_profiles src[5], unsigned char* dst,
                    std::ptrdiff_t width) {
  if (omp_get_thread_num() == 0) {
    largest_team = std::max(largest_team, omp_get_num_threads());
  }
  ns_signal::portable_variant.gaussian.combine_5x5_8u(src, dst, width);
}

// Filters once and returns the number of threads that took part, or 0 if the result was wrong.
int team() {
  ns_signal::variant noting = ns_signal::portable_variant;
  noting.gaussian.combine_5x5_8u = noting_combine;
  largest_team = 0;
  return is_exact(noting, 55) ? largest_team : 0;
}

TEST(GaussianFork, ChildHasATeamUnlessItsParentHadOne) {
  const int granted = std::min(wanted_threads, omp_get_thread_limit());
  EXPECT_EQ(status_of_child(team), exit_with(granted));
  EXPECT_EQ(team(), granted);
  EXPECT_EQ(status_of_child(team), exit_with(1));
  EXPECT_EQ(status_of_child([] { return status_of_child(team) >> 8; }), exit_with(1));
  // The parent is not affected.
  EXPECT_EQ(team(), granted);
}

TEST(GaussianFork, ChildGivesTheSameAtEveryLevel) {
  for (const ns_signal::variant* const variant : runnable_variants()) {
    for (const int mask : {33, 55}) {
      ASSERT_TRUE(is_exact(*variant, mask));
      EXPECT_EQ(status_of_child([=] { return is_exact(*variant, mask) ? 0 : 1; }), exit_with(0))
          << variant->name << ", mask " << mask;
    }
  }
}

}  // namespace
