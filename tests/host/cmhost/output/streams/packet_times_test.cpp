#include "host/cmhost/output/streams/packet_times.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <utility>
#include <vector>

namespace {

using namespace cmhost;

using Time = std::pair<std::int64_t, std::int64_t>;  // of decoding and of presentation

class PacketOrder : public testing::Test {
 protected:
  PacketOrder() {
    parameters_.codec_type = AVMEDIA_TYPE_AUDIO;
    stream_.codecpar = &parameters_;
  }

  std::vector<Time> order(const std::vector<Time>& times) {
    std::vector<Time> ordered;
    PacketTimes packetTimes;
    moved_.clear();
    for (const auto& [dts, pts] : times) {
      const PacketPtr packet = newPacket();
      packet->dts = dts;
      packet->pts = pts;
      moved_.push_back(packetTimes.order(*packet, stream_, container_));
      ordered.emplace_back(packet->dts, packet->pts);
    }
    return ordered;
  }

  AVCodecParameters parameters_ = {};
  AVStream stream_ = {};
  AVOutputFormat container_ = {};
  std::vector<bool> moved_;
};

TEST_F(PacketOrder, KeepsTimesThatAreInOrder) {
  const std::vector<Time> times = {{-5, -5}, {0, 0}, {1, 3}, {2, 2}, {900, 900}};
  EXPECT_EQ(order(times), times);
  EXPECT_EQ(moved_, std::vector<bool>(5, false));
}

TEST_F(PacketOrder, MovesOnWhatJumpsBackUntilTheTimesAreAgainInOrder) {
  EXPECT_EQ(order({{100, 100}, {60, 60}, {80, 80}, {103, 103}, {120, 120}}),
            (std::vector<Time>{{100, 100}, {101, 101}, {102, 102}, {103, 103}, {120, 120}}));
  EXPECT_EQ(moved_, (std::vector<bool>{false, true, true, false, false}));
}

TEST_F(PacketOrder, DoesNotCountRoundingErrorsAsMoved) {
  EXPECT_EQ(order({{100, 100}, {100, 100}, {100, 100}}),
            (std::vector<Time>{{100, 100}, {101, 101}, {102, 102}}));
  EXPECT_EQ(moved_, std::vector<bool>(3, false));
}

TEST_F(PacketOrder, AllowsEqualTimesWhereTheContainerDoes) {
  container_.flags = AVFMT_TS_NONSTRICT;
  EXPECT_EQ(order({{100, 100}, {100, 100}, {90, 90}}),
            (std::vector<Time>{{100, 100}, {100, 100}, {100, 100}}));
}

TEST_F(PacketOrder, KeepsATimeOfPresentationThatIsLater) {
  EXPECT_EQ(order({{100, 100}, {60, 130}}), (std::vector<Time>{{100, 100}, {101, 130}}));
}

TEST_F(PacketOrder, TakesTheMiddleWhenDecodingIsAfterPresentation) {
  EXPECT_EQ(order({{100, 100}, {160, 120}, {200, 110}}),
            (std::vector<Time>{{100, 100}, {120, 120}, {121, 121}}));
}

TEST_F(PacketOrder, CompletesAMissingDecodingTime) {
  EXPECT_EQ(order({{100, 100}, {AV_NOPTS_VALUE, 50}}), (std::vector<Time>{{100, 100}, {101, 101}}));
}

TEST_F(PacketOrder, LeavesContainersWithoutTimesAlone) {
  container_.flags = AVFMT_NOTIMESTAMPS;
  const std::vector<Time> times = {{100, 100}, {60, 60}};
  EXPECT_EQ(order(times), times);
}

}  // namespace
