// In a program of its own, whose operator new fails; ThreadSanitizer brings one too.
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
