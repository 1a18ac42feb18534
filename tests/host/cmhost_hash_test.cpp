// Digests of the marked frames: those of the file that the same run writes.
#include <gtest/gtest.h>

extern "C" {
#include <libavutil/md5.h>
}

#include <cstdio>
#include <sstream>

#include "tests/host/clip.h"
#include "tests/host/program.h"

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

  // The lines, comments left out.
  static std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> result;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
      if (line.rfind('#', 0) != 0) result.push_back(line);
    return result;
  }

  Folder folder;
};

TEST_F(Hash, LineAFrameAndOneForTheRun) {
  const struct {
    AVPixelFormat format;
    int width, height;
    const char* picture;
  } cases[] = {{AV_PIX_FMT_YUV420P, 160, 120, "160x120 yuv420p"},
               {AV_PIX_FMT_YUV420P, 161, 121, "161x121 yuv420p"},
               {AV_PIX_FMT_YUV422P, 161, 120, "161x120 yuv422p"},
               {AV_PIX_FMT_YUV444P, 160, 121, "160x121 yuv444p"}};
  for (const auto& expected : cases) {
    SCOPED_TRACE(expected.picture);
    make(expected.format, expected.width, expected.height);
    const Result result = run({"--overwrite", "--hash", "hashes", "in.mkv", "out.nut"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const auto found = lines(program::readFile(folder / "hashes"));
    ASSERT_EQ(found.size(), frames + 1U);
    std::string all;
    for (std::size_t i = 0; i < frames; ++i) {
      const std::string bytes = samples(clip::read(folder / "out.nut").pictures[i]);
      all += bytes;
      char start[64];
      std::snprintf(start, sizeof start, "%zu %.6f ", i, static_cast<double>(i) / 25);
      EXPECT_EQ(found[i], start + std::string(expected.picture) + " " + md5(bytes));
    }
    EXPECT_EQ(found[frames], "all 5 " + std::string(expected.picture) + " " + md5(all));
  }
}

TEST_F(Hash, StandardOutputBelongsToIt) {
  make(AV_PIX_FMT_YUV420P, 160, 120);
  const Result result = run({"--hash", "-", "in.mkv", "null:"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.out.rfind("# MD5 ", 0), 0U) << result.out;
  EXPECT_EQ(lines(result.out).size(), frames + 1U);
  EXPECT_NE(result.err.find("Size: 144, 33, "), std::string::npos) << result.err;
  EXPECT_NE(result.err.find("5 frames in "), std::string::npos) << result.err;
  EXPECT_EQ(folder.names(), std::vector<std::string>{"in.mkv"});

  // The same whatever becomes of the video.
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
