#include "host/cmhost/input/other_packets.h"

#include <gtest/gtest.h>

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

}  // namespace
