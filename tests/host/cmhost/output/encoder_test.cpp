// Encoder options set by the user, and their defaults.
#include <gtest/gtest.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/pixdesc.h>
}

#include <filesystem>
#include <utility>

#include "tests/host/cmhost/fixtures/clip.h"
#include "tests/host/cmhost/fixtures/program.h"

namespace {

class Encoder : public testing::Test {
 protected:
  // Noise, so that an encoder uses all the bits it is allowed.
  void SetUp() override {
    program::ffmpeg(folder.path(),
                    "-f lavfi -i 'nullsrc=size=128x96:rate=25,geq=random(1)*255:128:128' -t 1 "
                    "-pix_fmt yuv420p -c:v ffv1 in.mkv");
  }

  std::uintmax_t sizeWith(const std::string& encoder, const std::vector<std::string>& settings) {
    std::vector<std::string> arguments = {"--overwrite", "--module", program::stub("passes_on"),
                                          "--encoder", encoder};
    for (const std::string& setting : settings)
      arguments.insert(arguments.end(), {"--encoder-option", setting});
    arguments.insert(arguments.end(), {"in.mkv", "out.mkv"});
    const program::Result result = program::run(folder.path(), arguments);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    return std::filesystem::file_size(folder / "out.mkv");
  }

  program::Folder folder;
};

// Each of these gives a bit rate far from that of the default quality.
TEST_F(Encoder, NamedRateOrQualityTakesTheDefaultsPlace) {
  const struct {
    const char* encoder;
    std::vector<std::string> settings;
  } cases[] = {
      {"libx264", {"b=100k"}},
      {"libx264", {"qp=45"}},
      {"libx264", {"crf=45"}},
      {"libx265", {"b=100k"}},
      {"libx265", {"qp=45"}},
      {"libx265", {"x265-params=crf=45"}},
      {"libvpx-vp9", {"b=100k", "cpu-used=8"}},
      {"libvpx", {"b=100k", "cpu-used=8"}},
      {"mpeg4", {"b=100k"}},
      {"mpeg2video", {"b=100k"}},
      {"libsvtav1", {"qp=60", "preset=12"}},
      {"libsvtav1", {"b=100k", "preset=12"}},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(std::string(each.encoder) + " " + each.settings[0]);
    std::vector<std::string> others(each.settings.begin() + 1, each.settings.end());
    EXPECT_LT(sizeWith(each.encoder, each.settings) * 2, sizeWith(each.encoder, others));
  }
}

// Each of these contradicts a default rate or quality.
TEST_F(Encoder, NamedLimitsMoveTheDefaults) {
  const struct {
    const char* encoder;
    std::vector<std::string> settings;
    bool isLower;  ///< than the default
  } cases[] = {
      {"libvpx-vp9", {"qmin=55", "cpu-used=8"}, true},
      {"libvpx-vp9", {"qmax=5", "cpu-used=8"}, false},
      {"libvpx-vp9", {"maxrate=200k", "bufsize=200k", "cpu-used=8"}, true},
      {"libvpx", {"qmin=55", "cpu-used=8"}, true},
      {"libvpx", {"qmax=5", "cpu-used=8"}, false},
      {"libvpx", {"maxrate=200k", "bufsize=200k", "cpu-used=8"}, true},
      {"mpeg4", {"maxrate=1M"}, true},
      {"mpeg4", {"minrate=1M", "maxrate=1M", "bufsize=1M"}, true},
      {"mpeg4", {"minrate=30M"}, false},
      {"mpeg2video", {"maxrate=1M", "bufsize=1M"}, true},
      {"mpeg1video", {"maxrate=1M", "bufsize=1M"}, true},
      {"mpeg1video", {"b=1M"}, true},
      {"libx264", {"maxrate=200k", "bufsize=200k"}, true},
      {"libx265", {"maxrate=200k", "bufsize=200k"}, true},
  };
  for (const auto& each : cases) {
    if (avcodec_find_encoder_by_name(each.encoder) == nullptr) continue;
    SCOPED_TRACE(std::string(each.encoder) + " " + each.settings[0]);
    std::vector<std::string> others;
    if (each.settings.back() == "cpu-used=8") others.push_back("cpu-used=8");
    const std::uintmax_t usual = sizeWith(each.encoder, others);
    const std::uintmax_t limited = sizeWith(each.encoder, each.settings);
    if (each.isLower)
      EXPECT_LT(limited, usual);
    else
      EXPECT_GE(limited, usual);
  }
}

// The encoder of FFV1 cannot divide all of these into slices.
TEST_F(Encoder, LosslessMatroskaIsExactForTinyPictures) {
  for (const AVPixelFormat format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUV444P})
    for (const int width : {1, 2, 3, 5})
      for (const int height : {1, 2, 3, 4, 5, 9}) {
        SCOPED_TRACE(std::string(av_get_pix_fmt_name(format)) + " " + std::to_string(width) + "x" +
                     std::to_string(height));
        clip::Clip input;
        input.encoder = "rawvideo";
        input.pictures = clip::drawMany(format, width, height, 2);
        clip::write(folder / "tiny.nut", input);
        const program::Result result =
            program::run(folder.path(), {"-q", "--overwrite", "--lossless", "--module",
                                         program::stub("passes_on"), "tiny.nut", "tiny.mkv"});
        ASSERT_EQ(result.exitCode, 0) << result.err;
        const clip::Clip output = clip::read(folder / "tiny.mkv");
        ASSERT_EQ(output.pictures.size(), 2U);
        for (std::size_t i = 0; i < 2; ++i)
          EXPECT_EQ(output.pictures[i].planes, input.pictures[i].planes) << i;
      }
}

// Pictures of these sizes may end where their buffers end.
TEST_F(Encoder, LosslessEncodersAreExactAtOddSizes) {
  for (const std::string encoder : {"ffvhuff", "utvideo"})
    for (const auto& [width, height] : {std::pair(2, 2), {4, 6}, {17, 33}, {321, 241}}) {
      SCOPED_TRACE(encoder + " " + std::to_string(width) + "x" + std::to_string(height));
      if (avcodec_find_encoder_by_name(encoder.c_str()) == nullptr) continue;
      clip::Clip input;
      input.encoder = "rawvideo";
      input.pictures = clip::drawMany(AV_PIX_FMT_YUV444P, width, height, 3);
      clip::write(folder / "odd.nut", input);
      const program::Result result =
          program::run(folder.path(), {"-q", "--overwrite", "--module", program::stub("passes_on"),
                                       "--encoder", encoder, "odd.nut", "odd.mkv"});
      ASSERT_EQ(result.exitCode, 0) << result.err;
      const clip::Clip output = clip::read(folder / "odd.mkv");
      ASSERT_EQ(output.pictures.size(), 3U);
      for (std::size_t i = 0; i < 3; ++i)
        EXPECT_EQ(output.pictures[i].planes, input.pictures[i].planes) << i;
    }
}

// Some encoders print a banner directly on standard error.
TEST_F(Encoder, PrintsNothing) {
  for (const std::string encoder : {"libx264", "libx265", "libsvtav1", "libvpx-vp9"}) {
    const program::Result result = program::run(
        folder.path(), {"-q", "--overwrite", "--encoder", encoder, "in.mkv", "out.mkv"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.err, "") << encoder;
    EXPECT_EQ(result.out, "") << encoder;
  }
}

// Some versions of this encoder refuse the size and print several lines of their own.
TEST(EncoderMessages, AFailureIsOneLine) {
  if (avcodec_find_encoder_by_name("libsvtav1") == nullptr) GTEST_SKIP();
  const program::Folder folder;
  program::ffmpeg(folder.path(), "-f lavfi -i testsrc2=size=32x32:rate=25:duration=0.2 in.y4m");
  const program::Result result =
      program::run(folder.path(), {"-q", "--encoder", "libsvtav1", "in.y4m", "out.mkv"});
  if (result.exitCode == 0) {
    EXPECT_EQ(result.err, "");
  } else {
    EXPECT_EQ(result.err.rfind("cmhost: error: cannot open the encoder libsvtav1", 0), 0U)
        << result.err;
    EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << result.err;
  }
}

}  // namespace
