#include "host/cmhost/input/other_packets.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <utility>
#include <vector>

#include "host/cmhost/options.h"
#include "host/cmhost/support/failure.h"

namespace {

using namespace cmhost;

TEST(OtherPackets, QueueIsBounded) {
  const Part part{Options()};
  OtherPackets others("in.mkv", part);
  const AVStream stream = {};
  const PacketPtr packet = newPacket();
  ASSERT_EQ(av_new_packet(packet.get(), 1 << 20), 0);
  for (int i = 0; i < 64; ++i) others.add(*packet, stream);
  try {
    others.add(*packet, stream);
    FAIL() << "the packets are still queued";
  } catch (const Failure& failure) {
    EXPECT_STREQ(failure.what(),
                 "in.mkv: no video frame in the first 64 MiB of packets of other streams; is this "
                 "a video file?");
  }
}

// A video of 25 frames per second, from which 50 frames are taken, and a stream of subtitles in
// milliseconds.
class HeldCues : public testing::Test {
 protected:
  HeldCues() : part_(options()), others_("in.mkv", part_) {
    format_.start_time = AV_NOPTS_VALUE;
    video_.time_base = {1, 25};
    video_.start_time = 0;
    parameters_.codec_type = AVMEDIA_TYPE_SUBTITLE;
    subtitles_.time_base = {1, 1000};
    subtitles_.codecpar = &parameters_;
    part_.open(format_, video_, {25, 1});
    part_.beginAt(0);
    others_.sendTo([this](const AVPacket& packet) {
      passed_.emplace_back(packet.pts, packet.pts + packet.duration);
    });
  }

  void add(std::int64_t start, std::int64_t end) {
    const PacketPtr packet = newPacket();
    ASSERT_EQ(av_new_packet(packet.get(), 1), 0);
    packet->pts = packet->dts = start;
    packet->duration = end - start;
    others_.add(*packet, subtitles_);
  }

  void reach(std::int64_t frames) { others_.reach(frames, video_.time_base); }

  using Cues = std::vector<std::pair<std::int64_t, std::int64_t>>;

  static Options options() {
    Options options;
    options.frames = 50;
    return options;
  }

  AVFormatContext format_ = {};
  AVCodecParameters parameters_ = {};
  AVStream video_ = {};
  AVStream subtitles_ = {};
  Part part_;
  OtherPackets others_;
  Cues passed_;
};

TEST_F(HeldCues, WaitForTheVideo) {
  add(200, 1000);
  reach(24);
  EXPECT_EQ(passed_, Cues());
  reach(25);
  EXPECT_EQ(passed_, (Cues{{200, 1000}}));
}

// A muxer accepts the packets of a stream only in order.
TEST_F(HeldCues, KeepTheirOrder) {
  add(100, 1900);
  add(600, 900);
  reach(40);
  EXPECT_EQ(passed_, Cues());
  reach(50);
  EXPECT_EQ(passed_, (Cues{{100, 1900}, {600, 900}}));
}

// A demuxer reads ahead, so that cues behind the part have been read when it ends.
TEST_F(HeldCues, EndWithThePart) {
  add(1500, 2500);
  add(1999, 2000);
  add(2000, 2500);
  add(6000, 8000);
  reach(50);
  others_.endPart();
  EXPECT_EQ(passed_, (Cues{{1500, 2000}, {1999, 2000}}));
  add(1600, 2600);
  add(2000, 2100);
  EXPECT_EQ(passed_, (Cues{{1500, 2000}, {1999, 2000}, {1600, 2000}}));
}

TEST_F(HeldCues, WithoutADurationPassAtTheirTime) {
  add(1000, 1000);
  reach(25);
  EXPECT_EQ(passed_, Cues());
  reach(26);
  EXPECT_EQ(passed_, (Cues{{1000, 1000}}));
}

TEST_F(HeldCues, PassUnchangedAtTheEndOfTheFile) {
  add(1000, 5000);
  add(4000, 6000);
  reach(30);
  others_.endFile();
  EXPECT_EQ(passed_, (Cues{{1000, 5000}, {4000, 6000}}));
}

}  // namespace
