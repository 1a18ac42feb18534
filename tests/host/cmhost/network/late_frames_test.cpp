#include "host/cmhost/network/late_frames.h"

#include <gtest/gtest.h>

namespace {

using cmhost::LateFrames;
using Seconds = LateFrames::Seconds;

TEST(LateFrames, FramesInTimeAndEarlyOnes) {
  LateFrames late;
  for (int i = 0; i < 100; ++i) late.add(Seconds(i * 0.04), Seconds(1000 + i * 0.04));
  for (int i = 100; i < 200; ++i) late.add(Seconds(i * 0.04), Seconds(1004));
  EXPECT_EQ(late.count(), 0);
}

TEST(LateFrames, MoreThanASecondLater) {
  LateFrames late;
  late.add(Seconds(5), Seconds(100));
  late.add(Seconds(6), Seconds(101.9));
  EXPECT_EQ(late.count(), 0);
  late.add(Seconds(7), Seconds(103.1));
  EXPECT_EQ(late.count(), 1);
  late.add(Seconds(8), Seconds(104));
  EXPECT_EQ(late.count(), 1);
}

TEST(LateFrames, TimeStampsThatJumpStartAnew) {
  LateFrames late;
  late.add(Seconds(5000), Seconds(100));
  late.add(Seconds(0), Seconds(101));
  late.add(Seconds(1), Seconds(102));
  late.add(Seconds(90000), Seconds(103));
  EXPECT_EQ(late.count(), 0);
  late.add(Seconds(90001), Seconds(106));
  EXPECT_EQ(late.count(), 1);
}

}  // namespace
