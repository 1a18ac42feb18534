#include "host/cmhost/support/threads.h"

#include <gtest/gtest.h>

namespace {

using cmhost::threadsFor;

TEST(Threads, FollowFromTheSizeOfAPicture) {
  EXPECT_EQ(threadsFor(0), 0);
  EXPECT_EQ(threadsFor(1920 * 1080 * 3 / 2), 0);
  EXPECT_EQ(threadsFor(std::int64_t{2} << 30), 1);
}

}  // namespace
