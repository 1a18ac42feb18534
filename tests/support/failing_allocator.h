#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <new>

/// A program that links this library gets operators `new` and `delete` that count, and that fail
/// when a test requests it. Over-aligned types are not counted.
namespace test_support {

/// Blocks that are allocated by `new` and not yet released by `delete`, in all threads.
std::size_t live_blocks();

/// The outcome of an action with one allocation that should fail.
enum class allocation_outcome {
  not_reached,  ///< the action made fewer allocations and threw nothing
  thrown,       ///< the action threw `std::bad_alloc`
  swallowed     ///< the allocation failed and nothing was thrown
};

/// During its lifetime, allocation number `index`, counted from 0, fails. Only one object at a
/// time.
class failing_allocation {
 public:
  explicit failing_allocation(std::size_t index);
  ~failing_allocation();
  failing_allocation(const failing_allocation&) = delete;
  failing_allocation& operator=(const failing_allocation&) = delete;

  /// Whether the allocation has failed.
  bool happened() const;
};

/// Runs `action` and makes its allocation number `index`, counted from 0, fail.
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

/// Calls `attempt` with 0, 1, 2 and so on. `attempt` must run an action by `fail_allocation` with
/// that index, check the state afterwards, free everything and return the outcome. Stops at the
/// first index that was not reached and returns it: the number of allocations, each of which has
/// failed once. Expects that each failure caused the exception and that nothing leaked.
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
