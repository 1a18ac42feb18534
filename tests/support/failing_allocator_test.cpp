#include "tests/support/failing_allocator.h"

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <vector>

namespace test_support {
namespace {

// Prevents the compiler from removing an otherwise unused allocation.
const void* volatile used;

TEST(FailingAllocator, CountsWhatIsNotGivenBack) {
  const std::size_t before = live_blocks();
  int* const one = new int(1);
  used = one;
  int* const some = new int[3]();
  used = some;
  int* const quiet = new (std::nothrow) int(2);
  used = quiet;
  EXPECT_EQ(live_blocks(), before + 3);
  delete one;
  delete[] some;
  EXPECT_EQ(live_blocks(), before + 1);
  delete quiet;
  EXPECT_EQ(live_blocks(), before);
}

void allocate_three() {
  const auto first = std::make_unique<int>(1);
  used = first.get();
  const std::unique_ptr<int[]> second(new int[2]);
  used = second.get();
  const std::vector<int> third(3);
  used = third.data();
}

TEST(FailingAllocator, FailsTheOneNamed) {
  for (std::size_t index = 0; index < 3; ++index) {
    EXPECT_EQ(fail_allocation(index, allocate_three), allocation_outcome::thrown);
  }
  EXPECT_EQ(fail_allocation(3, allocate_three), allocation_outcome::not_reached);
}

TEST(FailingAllocator, FailsOnceAndNotAfterwards) {
  const failing_allocation armed(0);
  EXPECT_FALSE(armed.happened());
  EXPECT_THROW(allocate_three(), std::bad_alloc);
  EXPECT_TRUE(armed.happened());
  EXPECT_NO_THROW(allocate_three());
}

TEST(FailingAllocator, SeesAFailureThatIsHidden) {
  const auto quiet = [] {
    const std::unique_ptr<int> block(new (std::nothrow) int(1));
    used = block.get();
  };
  EXPECT_EQ(fail_allocation(0, quiet), allocation_outcome::swallowed);
  EXPECT_EQ(fail_allocation(1, quiet), allocation_outcome::not_reached);
}

TEST(FailingAllocator, CountsTheAllocations) {
  const auto attempt = [](std::size_t index) { return fail_allocation(index, allocate_three); };
  EXPECT_EQ(fail_every_allocation(attempt), 3U);
}

}  // namespace
}  // namespace test_support
