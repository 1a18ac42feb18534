#include "host/cmhost/output/constant_rate.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using cmhost::ConstantRate;
using cmhost::FramePtr;

// The numbers of the frames that leave, by tick, from the first tick on.
class Converted : public testing::Test {
 protected:
  // `times` are in milliseconds.
  void convert(const std::vector<std::int64_t>& times, AVRational rate, AVRational usualRate = {},
               std::int64_t duration = 0) {
    numbers.clear();
    ConstantRate constant({1, 1000}, usualRate, rate, [this](const FramePtr& frame) {
      if (numbers.empty()) first = frame->pts;
      EXPECT_EQ(frame->pts, first + static_cast<std::int64_t>(numbers.size()));
      EXPECT_EQ(cmhost::durationOf(*frame), 1);
      numbers.push_back(frame->width);
    });
    for (std::size_t i = 0; i < times.size(); ++i) {
      FramePtr frame = cmhost::newFrame();
      frame->format = AV_PIX_FMT_YUV420P;
      frame->width = static_cast<int>(i) + 1;
      frame->height = 2;
      cmhost::allocatePicture(*frame);
      frame->pts = times[i];
      cmhost::setDuration(*frame, duration);
      constant.add(std::move(frame));
    }
    constant.finish();
    repeated = constant.repeated();
    dropped = constant.dropped();
  }

  using Numbers = std::vector<int>;
  Numbers numbers;
  std::int64_t first = -1, repeated = -1, dropped = -1;
};

TEST_F(Converted, FramesAtTheRateStayAsTheyAre) {
  convert({0, 40, 80, 120}, {25, 1}, {25, 1});
  EXPECT_EQ(numbers, (Numbers{1, 2, 3, 4}));
  EXPECT_EQ(repeated, 0);
  EXPECT_EQ(dropped, 0);
}

TEST_F(Converted, EveryOtherFrameIsDroppedAtHalfTheRate) {
  convert({0, 20, 40, 60, 80, 100}, {25, 1}, {50, 1});
  EXPECT_EQ(numbers.size(), 3U);
  EXPECT_EQ(dropped, 3);
  EXPECT_EQ(repeated, 0);
}

TEST_F(Converted, EveryFrameIsShownTwiceAtTwiceTheRate) {
  convert({0, 80, 160}, {25, 1}, {25, 2});
  EXPECT_EQ(numbers, (Numbers{1, 1, 2, 2, 3, 3}));
  EXPECT_EQ(repeated, 3);
  EXPECT_EQ(dropped, 0);
}

TEST_F(Converted, UnevenTimesAreFilled) {
  convert({0, 15, 130, 138, 200}, {25, 1}, {25, 1});
  EXPECT_EQ(numbers, (Numbers{2, 2, 2, 4, 4, 5}));
  EXPECT_EQ(dropped, 2);
  EXPECT_EQ(repeated, 3);
}

TEST_F(Converted, StartStaysWhereItIs) {
  convert({1000, 1040}, {25, 1}, {25, 1});
  EXPECT_EQ(first, 25);
  EXPECT_EQ(numbers, (Numbers{1, 2}));
}

TEST_F(Converted, LastFrameLastsAsLongAsItSays) {
  convert({0, 40}, {25, 1}, {25, 1}, 120);
  EXPECT_EQ(numbers, (Numbers{1, 2, 2, 2}));
  convert({0, 40}, {25, 1});
  EXPECT_EQ(numbers, (Numbers{1, 2}));
}

TEST_F(Converted, ShortVideoKeepsOneFrame) {
  convert({0}, {25, 1}, {1000, 1});
  EXPECT_EQ(numbers, Numbers{1});
  convert({0, 1, 2}, {25, 1}, {1000, 1});
  EXPECT_EQ(numbers, Numbers{3});
}

TEST_F(Converted, NoFramesGiveNone) {
  convert({}, {25, 1});
  EXPECT_EQ(numbers, Numbers{});
}

}  // namespace
