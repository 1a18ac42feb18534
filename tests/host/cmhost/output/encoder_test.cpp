// Encoder options set by the user, and their defaults.
#include <gtest/gtest.h>

#include <filesystem>

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

}  // namespace
