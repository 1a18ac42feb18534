#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <new>

/// A program that links this has operators `new` and `delete` that count, and that fail when a test
/// says so. Over-aligned types are not counted.
namespace test_support {

/// Blocks that `new` has given out and `delete` has not had back, over all threads.
std::size_t live_blocks();

/// What came of an action one of whose allocations was to fail.
enum class allocation_outcome {
  not_reached,  ///< it made fewer allocations and ended without an exception
  thrown,       ///< `std::bad_alloc` came out of it
  swallowed     ///< the allocation failed and nothing was thrown
};

/// While it lives, allocation number `index` from its beginning, counted from 0, fails. One at a
/// time.
class failing_allocation {
 public:
  explicit failing_allocation(std::size_t index);
  ~failing_allocation();
  failing_allocation(const failing_allocation&) = delete;
  failing_allocation& operator=(const failing_allocation&) = delete;

  /// Whether the allocation has failed by now.
  bool happened() const;
};

/// Runs `action` with its allocation number `index`, counted from 0, failing.
template <typename Action>
allocation_outcome fail_allocation(std::size_t index, Action action) {
  const failing_allocation armed(index);
  try {
    action();
  } catch (const std::bad_alloc&) {
    return allocation_outcome::thrown;
  }
  return armed.happened() ? allocation_outcome::swallowed : allocation_outcome::not_reached;
}

/// Calls `attempt` with 0, 1, 2 and so on; it is to run something by `fail_allocation` with that
/// index, look at what is left, free everything and return the outcome. Ends when an index was not
/// reached and returns it: the number of allocations, each of which has failed once. Expects that
/// each failure came out as the exception and that nothing leaked.
template <typename Attempt>
std::size_t fail_every_allocation(Attempt attempt) {
  for (std::size_t index = 0;; ++index) {
    const std::size_t before = live_blocks();
    const allocation_outcome outcome = attempt(index);
    EXPECT_EQ(live_blocks(), before) << "leaked when allocation " << index << " failed";
    if (outcome == allocation_outcome::not_reached) return index;
    EXPECT_EQ(outcome, allocation_outcome::thrown) << "allocation " << index;
    if (testing::Test::HasFailure()) return index;
  }
}

}  // namespace test_support
