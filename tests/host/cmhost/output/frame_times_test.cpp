// The bit rate and the number of packets do not depend on how a container stores times.
#include <gtest/gtest.h>

extern "C" {
#include <libavformat/avformat.h>
}

#include <cstdint>

#include "tests/host/cmhost/fixtures/program.h"

namespace {

class EncodedFrames : public testing::Test {
 protected:
  // Noise in a time base much finer than a frame.
  void SetUp() override {
    program::ffmpeg(folder.path(),
                    "-f lavfi -i 'nullsrc=size=128x96:rate=25,geq=random(1)*255:128:128' -t 1 "
                    "-pix_fmt yuv420p -c:v ffv1 in.mkv");
  }

  std::uint64_t bytesIn(const std::string& output, const std::string& encoder,
                        const std::string& rate) {
    result = program::run(
        folder.path(), {"--overwrite", "--module", program::stub("passes_on"), "--encoder", encoder,
                        "--encoder-option", "b=" + rate, "in.mkv", output});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    packets = 0;
    std::uint64_t bytes = 0;
    AVFormatContext* format = nullptr;
    if (avformat_open_input(&format, (folder / output).c_str(), nullptr, nullptr) < 0) return 0;
    AVPacket* packet = av_packet_alloc();
    for (; av_read_frame(format, packet) >= 0; av_packet_unref(packet)) {
      ++packets;
      bytes += static_cast<std::uint64_t>(packet->size);
    }
    av_packet_free(&packet);
    avformat_close_input(&format);
    return bytes;
  }

  program::Folder folder;
  program::Result result;
  int packets = 0;
};

// These compute the rate from the time base.
TEST_F(EncodedFrames, HaveTheSameRateInEveryContainer) {
  for (const std::string encoder :
       {"libtheora", "wmv1", "wmv2", "msmpeg4v2", "flv", "h263p", "snow", "libxvid"}) {
    SCOPED_TRACE(encoder);
    if (avcodec_find_encoder_by_name(encoder.c_str()) == nullptr) continue;
    const std::uint64_t constant = bytesIn("out.avi", encoder, "1M");
    EXPECT_EQ(packets, 25);
    const std::uint64_t variable = bytesIn("out.mkv", encoder, "1M");
    EXPECT_EQ(packets, 25);
    EXPECT_NEAR(static_cast<double>(variable), static_cast<double>(constant),
                0.05 * static_cast<double>(constant));
    EXPECT_EQ(result.err.find("warning"), std::string::npos) << result.err;
  }
}

TEST_F(EncodedFrames, ThatTheEncoderDropsAreCounted) {
  if (avcodec_find_encoder_by_name("libtheora") == nullptr) GTEST_SKIP() << "no libtheora";
  bytesIn("out.mkv", "libtheora", "20k");
  EXPECT_LT(packets, 25);
  const std::string expected =
      "the encoder libtheora dropped " + std::to_string(25 - packets) + " of 25 frames";
  EXPECT_NE(result.err.find(expected), std::string::npos) << result.err;
}

}  // namespace
