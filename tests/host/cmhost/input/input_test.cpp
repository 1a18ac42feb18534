// Invalid input gives one clear error line, exit code 1 and no output.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/host/cmhost/fixtures/clip.h"
#include "tests/host/cmhost/fixtures/program.h"

namespace {

using clip::Clip;
using program::Folder;
using program::Result;

class BadInput : public testing::Test {
 protected:
  static Clip videoClip(AVPixelFormat format = AV_PIX_FMT_YUV420P, int width = 160,
                        int height = 120, int count = 10) {
    Clip clip;
    clip.encoder = "ffv1";
    clip.pictures = clip::drawMany(format, width, height, count);
    return clip;
  }

  // Runs with `name` and expects one error line that contains all of `parts`.
  void expectFailure(const std::string& name, const std::vector<std::string>& parts,
                     const std::vector<std::string>& options = {}) {
    std::vector<std::string> arguments = options;
    arguments.insert(arguments.end(), {name, "out.mkv"});
    const Result run = program::run(folder.path(), arguments);
    EXPECT_EQ(run.exitCode, 1) << run.err;
    const std::string messages = run.messages();
    EXPECT_EQ(messages.rfind("cmhost: error: ", 0), 0U) << run.err;
    EXPECT_EQ(messages.size(), messages.find('\n') + 1) << run.err;
    for (const std::string& part : parts)
      EXPECT_NE(run.err.find(part), std::string::npos) << part << " is not in: " << run.err;
    const auto names = folder.names();
    EXPECT_TRUE(std::none_of(names.begin(), names.end(), [](const std::string& left) {
      return left.rfind("out", 0) == 0;
    })) << "an output is left";
  }

  Folder folder;
};

TEST_F(BadInput, NoSuchFile) {
  expectFailure("missing.mkv", {"missing.mkv", "No such file or directory"});
}

TEST_F(BadInput, Directory) { expectFailure(".", {"is a directory"}); }

TEST_F(BadInput, NotAVideo) {
  program::writeFile(folder / "text.mkv", std::string(5000, 'x'));
  expectFailure("text.mkv", {"text.mkv: not a video file"});
}

TEST_F(BadInput, EmptyFile) {
  program::writeFile(folder / "empty.mkv", "");
  expectFailure("empty.mkv", {"empty.mkv: not a video file"});
}

TEST_F(BadInput, OnlySound) {
  Clip clip;
  clip.audio = clip::tone(25);
  clip::writeAudioOnly(folder / "sound.mkv", clip);
  expectFailure("sound.mkv", {"sound.mkv: no video stream"});
}

TEST_F(BadInput, PixelFormatsThatTheModuleDoesNotTake) {
  const struct {
    AVPixelFormat format;
    const char* name;
    const char* hint;
  } cases[] = {{AV_PIX_FMT_YUV410P, "yuv410p", "--convert auto"},
               {AV_PIX_FMT_YUV420P10LE, "yuv420p10le", "--convert auto"},
               {AV_PIX_FMT_YUV422P10LE, "yuv422p10le",
                "--convert auto to convert it to 8-bit 4:2:0, or --convert Y22P"},
               {AV_PIX_FMT_YUV444P10LE, "yuv444p10le",
                "--convert auto to convert it to 8-bit 4:2:0, or --convert Y44P"}};
  for (const auto& bad : cases) {
    clip::write(folder / "in.mkv", videoClip(bad.format));
    expectFailure("in.mkv", {"in.mkv", bad.name, bad.hint});
  }
}

TEST_F(BadInput, FrameTooFlatForItsArtwork) {
  clip::write(folder / "flat.mkv", videoClip(AV_PIX_FMT_YUV420P, 1000, 100, 2));
  expectFailure("flat.mkv", {"*** ERROR ***: Error configuring watermark."});
}

TEST_F(BadInput, FrameTooSmallForItsArtwork) {
  clip::write(folder / "small.mkv", videoClip(AV_PIX_FMT_YUV444P, 16, 2, 2));
  expectFailure("small.mkv", {"*** ERROR ***: Error configuring watermark."});
}

TEST_F(BadInput, SizeChangesInMidStream) {
  Clip clip;
  clip.encoder = "mjpeg";
  clip.tags.range = AVCOL_RANGE_JPEG;
  clip.pictures = clip::drawMany(AV_PIX_FMT_YUVJ420P, 160, 120, 8);
  for (int i = 4; i < 8; ++i)
    clip.pictures[static_cast<std::size_t>(i)] = clip::draw(AV_PIX_FMT_YUVJ420P, 176, 144, i);
  clip::write(folder / "change.mkv", clip);
  expectFailure("change.mkv", {"change.mkv", "160x120", "176x144", "at frame 4", "0.160 s"});
}

TEST_F(BadInput, DamagedPictureIsNotHidden) {
  Clip clip = videoClip();
  clip::write(folder / "whole.mkv", clip);
  std::string bytes = program::readFile(folder / "whole.mkv");
  for (std::size_t i = 0; i < 16; ++i) bytes[bytes.size() / 2 + i] ^= 0x5A;
  program::writeFile(folder / "bad.mkv", bytes);
  expectFailure("bad.mkv", {"bad.mkv: damaged or truncated: ", "; decoded "});
}

class CutShort : public BadInput, public testing::WithParamInterface<const char*> {};

TEST_P(CutShort, SaysWhatCouldBeDecoded) {
  const std::string name = GetParam();
  Clip clip = videoClip(AV_PIX_FMT_YUV420P, 64, 48, 20);
  clip.encoder = name == "y4m"   ? "wrapped_avframe"
                 : name == "nut" ? "rawvideo"
                 : name == "mkv" ? "ffv1"
                                 : "mpeg4";
  clip::write(folder / ("whole." + name), clip);
  const std::string whole = program::readFile(folder / ("whole." + name));
  ASSERT_EQ(program::run(folder.path(), {"whole." + name, "whole_out.nut"}).exitCode, 0);
  // From just after the header to one byte short; the last bytes of NUT are only an index.
  const std::size_t last = name == "nut" ? whole.size() * 95 / 100 : whole.size() - 1;
  for (std::size_t step = 1; step <= 12; ++step) {
    const std::size_t size = last * step / 12;
    SCOPED_TRACE("cut to " + std::to_string(size) + " of " + std::to_string(whole.size()));
    program::writeFile(folder / ("cut." + name), whole.substr(0, size));
    expectFailure("cut." + name, {"cut." + name + ": damaged or truncated: ", "; decoded "});
  }
}

INSTANTIATE_TEST_SUITE_P(Containers, CutShort,
                         testing::Values("y4m", "nut", "mkv", "mp4", "avi", "mov"));

TEST_F(BadInput, CountOfDecodedFramesIsRight) {
  Clip clip = videoClip(AV_PIX_FMT_YUV420P, 64, 48, 10);
  clip.encoder = "wrapped_avframe";
  clip::write(folder / "whole.y4m", clip);
  const std::string whole = program::readFile(folder / "whole.y4m");
  const std::size_t frame = 64 * 48 * 3 / 2 + 6;  // "FRAME\n" and the planes
  program::writeFile(folder / "cut.y4m", whole.substr(0, whole.size() - 3 * frame - 100));
  expectFailure("cut.y4m", {"; decoded 6 frames, the last at 0.200 s"});
  program::writeFile(folder / "cut.y4m", whole.substr(0, whole.size() - 9 * frame - 100));
  expectFailure("cut.y4m", {"; decoded no frames"});
}

}  // namespace
