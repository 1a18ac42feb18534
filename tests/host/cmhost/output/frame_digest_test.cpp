// Digests of the marked frames, equal to those of the file written by the same run.
#include <gtest/gtest.h>

extern "C" {
#include <libavutil/md5.h>
}

#include <cstdio>
#include <sstream>

#include "tests/host/cmhost/fixtures/clip.h"
#include "tests/host/cmhost/fixtures/program.h"

namespace {

using program::Folder;
using program::Result;

std::string md5(const std::string& bytes) {
  std::uint8_t digest[16];
  av_md5_sum(digest, reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  std::string text;
  for (const unsigned int byte : digest) {
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02x", byte);
    text += digits;
  }
  return text;
}

std::string samples(const clip::Picture& picture) {
  std::string bytes;
  for (const auto& plane : picture.planes) bytes.append(plane.begin(), plane.end());
  return bytes;
}

class Hash : public testing::Test {
 protected:
  static constexpr int frames = 5;

  void make(AVPixelFormat format, int width, int height) {
    clip::Clip clip;
    clip.encoder = "ffv1";
    clip.pictures = clip::drawMany(format, width, height, frames);
    clip::write(folder / "in.mkv", clip);
  }

  Result run(const std::vector<std::string>& arguments) {
    return program::run(folder.path(), arguments);
  }

  // The lines without comments.
  static std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> result;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
      if (line.rfind('#', 0) != 0) result.push_back(line);
    return result;
  }

  Folder folder;
};

TEST_F(Hash, IsWhatFramemd5Holds) {
  const struct {
    AVPixelFormat format;
    int width, height;
  } cases[] = {{AV_PIX_FMT_YUV420P, 160, 120},
               {AV_PIX_FMT_YUV420P, 161, 121},
               {AV_PIX_FMT_YUV422P, 161, 120},
               {AV_PIX_FMT_YUV444P, 160, 121}};
  for (const auto& expected : cases) {
    SCOPED_TRACE(std::to_string(expected.format) + " " + std::to_string(expected.width));
    make(expected.format, expected.width, expected.height);
    const Result result = run({"--overwrite", "--hash", "hashes", "in.mkv", "out.nut"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    std::string text =
        "#format: frame checksums\n#version: 2\n#hash: MD5\n#tb 0: 1/25\n"
        "#media_type 0: video\n#codec_id 0: rawvideo\n#dimensions 0: " +
        std::to_string(expected.width) + "x" + std::to_string(expected.height) +
        "\n#sar 0: 1/1\n#stream#, dts,        pts, duration,     size, hash\n";
    for (int i = 0; i < frames; ++i) {
      const std::string bytes =
          samples(clip::read(folder / "out.nut").pictures[static_cast<std::size_t>(i)]);
      char line[128];
      std::snprintf(line, sizeof line, "0, %10d, %10d, %8d, %8zu, ", i, i, 1, bytes.size());
      text += line + md5(bytes) + "\n";
    }
    EXPECT_EQ(program::readFile(folder / "hashes"), text);
  }
}

// ffmpeg counts in frames from the first time stamp, whatever the container's time base is.
TEST_F(Hash, TimesAreThoseOfFfmpeg) {
  clip::Clip clip;
  clip.encoder = "ffv1";
  clip.tags.rate = {30000, 1001};
  clip.tags.timeBase = {1, 1000};
  clip.tags.sampleAspect = {16, 15};
  clip.pictures = clip::drawMany(AV_PIX_FMT_YUV420P, 160, 120, 3);
  const std::int64_t times[] = {1000, 1033, 1100};  // one frame is missing
  for (std::size_t i = 0; i < 3; ++i) clip.pictures[i].pts = times[i];
  clip::write(folder / "in.mkv", clip);
  ASSERT_EQ(run({"--hash", "hashes", "in.mkv", "null:"}).exitCode, 0);
  const std::string text = program::readFile(folder / "hashes");
  EXPECT_NE(text.find("\n#tb 0: 1001/30000\n"), std::string::npos) << text;
  EXPECT_NE(text.find("\n#sar 0: 16/15\n"), std::string::npos) << text;
  const auto found = lines(text);
  ASSERT_EQ(found.size(), 3U);
  EXPECT_EQ(found[0].rfind("0,          0,          0, ", 0), 0U) << found[0];
  EXPECT_EQ(found[1].rfind("0,          1,          1, ", 0), 0U) << found[1];
  EXPECT_EQ(found[2].rfind("0,          3,          3, ", 0), 0U) << found[2];
}

TEST_F(Hash, StandardOutputBelongsToIt) {
  make(AV_PIX_FMT_YUV420P, 160, 120);
  const Result result = run({"--hash", "-", "in.mkv", "null:"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.out.rfind("#format: frame checksums\n", 0), 0U) << result.out;
  EXPECT_EQ(lines(result.out).size(), std::size_t{frames});
  EXPECT_NE(result.err.find("Size: 144, 33, "), std::string::npos) << result.err;
  EXPECT_NE(result.err.find("5 frames in "), std::string::npos) << result.err;
  EXPECT_EQ(folder.names(), std::vector<std::string>{"in.mkv"});

  // The same digests, whether the video is written or discarded.
  ASSERT_EQ(run({"--hash", "hashes", "--compare", "in.mkv", "out.mkv"}).exitCode, 0);
  EXPECT_EQ(program::readFile(folder / "hashes"), result.out);
}

TEST_F(Hash, PlacesThatDoNotGo) {
  make(AV_PIX_FMT_YUV420P, 160, 120);
  EXPECT_EQ(run({"--hash", "-", "in.mkv", "-"}).exitCode, 2);
  EXPECT_EQ(run({"--hash", "in.mkv", "in.mkv", "null:"}).exitCode, 2);
  EXPECT_EQ(run({"--hash", "same", "--output-format", "nut", "in.mkv", "same"}).exitCode, 2);
  const Result full = run({"--hash", "/dev/full", "in.mkv", "null:"});
  EXPECT_EQ(full.exitCode, 1);
  EXPECT_NE(full.err.find("No space left on device"), std::string::npos) << full.err;
  EXPECT_EQ(folder.names(), std::vector<std::string>{"in.mkv"});
}

}  // namespace
