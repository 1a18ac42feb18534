// In a separate program with a failing operator new, which ThreadSanitizer also replaces.
#include <gtest/gtest.h>

#include "host/cm/bounded_queue.h"
#include "host/cm/picture_pool.h"
#include "tests/support/failing_allocator.h"

namespace {

using test_support::allocation_outcome;
using test_support::fail_allocation;

TEST(QueueMemory, EndsWithoutAny) {
  cm::BoundedQueue<int> queue(2);
  queue.put(1);
  EXPECT_EQ(fail_allocation(0, [&] { queue.finish(); }), allocation_outcome::not_reached);
  EXPECT_EQ(fail_allocation(0, [&] { queue.abandon(); }), allocation_outcome::not_reached);
  EXPECT_EQ(queue.size(), 0U);
}

TEST(PicturePoolMemory, EveryAllocationMayFail) {
  const auto allocations = test_support::fail_every_allocation([](std::size_t index) {
    return fail_allocation(index, [] {
      const auto pool = cm::PicturePool::create();
      const auto first = pool->take(8);
      const auto second = pool->take(8);
    });
  });
  EXPECT_GE(allocations, 2U);
}

}  // namespace
