// In a separate program with a failing operator new, which ThreadSanitizer also replaces.
#include <gtest/gtest.h>

#include "host/cm/bounded_queue.h"
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

}  // namespace
