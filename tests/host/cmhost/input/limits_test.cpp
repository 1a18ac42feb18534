// The memory of the program is limited, whatever a file declares.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/host/cmhost/fixtures/clip.h"
#include "tests/host/cmhost/fixtures/program.h"
#include "tests/host/cmhost/input/integrity/hostile/hostile_files.h"

namespace {

using program::Folder;
using program::Result;

long peakMebibytes(const Result& run) {
  return program::isSanitized ? 0 : run.peakKilobytes / 1024;
}

class Limits : public testing::Test {
 protected:
  Result expectRefusal(const std::string& name, const std::vector<std::string>& parts,
                       std::vector<std::string> arguments = {}) {
    SCOPED_TRACE(name);
    arguments.insert(arguments.end(), {name, "out.mkv"});
    Result run = program::run(folder.path(), arguments);
    EXPECT_EQ(run.exitCode, 1) << run.err;
    const std::string messages = run.messages();
    EXPECT_EQ(std::count(messages.begin(), messages.end(), '\n'), 1) << run.err;
    for (const std::string& part : parts)
      EXPECT_NE(run.err.find(part), std::string::npos) << part << " is not in: " << run.err;
    EXPECT_LT(peakMebibytes(run), 300);
    const auto names = folder.names();
    EXPECT_EQ(std::count(names.begin(), names.end(), "out.mkv"), 0);
    return run;
  }

  void writeClip(const std::string& name, const char* encoder, int width, int height) {
    clip::Clip clip;
    clip.encoder = encoder;
    clip.pictures = clip::drawMany(AV_PIX_FMT_YUV420P, width, height, 3);
    clip::write(folder / name, clip);
  }

  Folder folder;
  // By default, a sanitizer ends the program when an allocation fails.
  const program::Variable refusal{"ASAN_OPTIONS", "allocator_may_return_null=1"};
};

TEST_F(Limits, HugePicturesAreRefused) {
  program::writeFile(folder / "big.gif", hostile::gif(16000, 16000));
  program::writeFile(folder / "big.png", hostile::png(16000, 16000));
  program::writeFile(folder / "big.tiff", hostile::tiff(16000, 16000));
  program::writeFile(folder / "big.bmp", hostile::bmp(16000, 16000));
  program::writeFile(folder / "big.y4m", hostile::y4m(16000, 16000));
  for (const char* const name : {"big.gif", "big.png", "big.tiff", "big.bmp", "big.y4m"})
    expectRefusal(name, {name, "16000x16000", "67108864", "--max-pixels"});
}

TEST_F(Limits, SizesBeyondTheMediaLibraryAreRefused) {
  program::writeFile(folder / "big.gif", hostile::gif(65535, 65535));
  expectRefusal("big.gif", {"big.gif"}, {"--max-pixels", "999999999"});
  program::writeFile(folder / "big.png", hostile::png(0x7FFFFFFF, 0x7FFFFFFF));
  expectRefusal("big.png", {"big.png"}, {"--max-pixels", "999999999"});
  program::writeFile(folder / "big.jpg", hostile::jpeg(65535, 65535));
  expectRefusal("big.jpg", {"big.jpg"}, {"--max-pixels", "999999999"});
}

// Decoders round sizes up; the limit applies to the displayed size.
TEST_F(Limits, PixelsAreCountedExactly) {
  for (const char* const encoder : {"mpeg4", "ffv1", "mpeg2video", "libx264", "libvpx-vp9"}) {
    SCOPED_TRACE(encoder);
    writeClip("in.mkv", encoder, 162, 122);
    const auto run = [&](int pixels) {
      return program::run(folder.path(),
                          {"--max-pixels", std::to_string(pixels), "in.mkv", "null:"});
    };
    EXPECT_EQ(run(162 * 122).exitCode, 0) << run(162 * 122).err;
    const Result refused = run(162 * 122 - 1);
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_NE(refused.err.find("162x122 exceeds the limit of 19763 pixels"), std::string::npos)
        << refused.err;
  }
}

TEST_F(Limits, HoldInMidStream) {
  clip::Clip clip;
  clip.encoder = "mjpeg";
  clip.tags.range = AVCOL_RANGE_JPEG;
  clip.pictures = clip::drawMany(AV_PIX_FMT_YUVJ420P, 160, 120, 4);
  for (const int side : {600, 1600}) {  // below and above the rounded-up limit of decoders
    clip.pictures.resize(4);
    clip.pictures.push_back(clip::draw(AV_PIX_FMT_YUVJ420P, side, side, 4));
    clip::write(folder / "in.mkv", clip);
    const std::string size = std::to_string(side) + "x" + std::to_string(side);
    expectRefusal("in.mkv", {size + " exceeds the limit of 300000 pixels"},
                  {"--max-pixels", "300000"});
  }
}

TEST_F(Limits, WrongNumbersAreWrongUsage) {
  for (const char* const number : {"0", "-1", "8192x8192", "many", "99999999999"})
    EXPECT_EQ(program::run(folder.path(), {"--max-pixels", number, "a.mkv", "b.mkv"}).exitCode, 2);
}

// The memory for frames of the maximum size, as documented in the manual page.
TEST_F(Limits, MemoryOfTheLargestPicture) {
  if (program::isSanitized) GTEST_SKIP() << "the sanitizer takes memory of its own";
  program::writeFile(folder / "in.gif", hostile::gif(8192, 8192));
  const struct {
    const char* output;
    long mebibytes;
  } runs[] = {{"null:", 2048}, {"out.mkv", 4096}};  // the second one is encoded with FFV1
  for (const auto& [output, mebibytes] : runs) {
    SCOPED_TRACE(output);
    const Result run = program::run(folder.path(), {"--convert", "Y44P", "in.gif", output});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_LT(peakMebibytes(run), mebibytes);
  }
}

// The module scales its mark to the width before it checks the height.
TEST_F(Limits, WidePicturesAreRefused) {
  if (program::isSanitized) GTEST_SKIP() << "the sanitizer ends a program that gets no memory";
  for (const auto& [width, height] : {std::pair(65535, 1), std::pair(20000, 2)}) {
    program::writeFile(folder / "in.gif", hostile::gif(static_cast<std::uint32_t>(width),
                                                       static_cast<std::uint32_t>(height)));
    expectRefusal("in.gif", {"cannot configure the module"}, {"--convert", "Y44P", "--quiet"});
  }
}

TEST_F(Limits, TablesOfTinyFilesAreRefused) {
  program::writeFile(folder / "in.mp4", hostile::movie(1, 80000000));
  expectRefusal("in.mp4", {"in.mp4"});
  program::writeFile(folder / "in.mp4", hostile::movie(8, 40000000));
  const Result run = program::run(folder.path(), {"in.mp4", "null:"});
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_LT(peakMebibytes(run), 1500);
}

TEST_F(Limits, TooManyStreamsAreRefused) {
  program::writeFile(folder / "in.mp4", hostile::movie(1100, 1));
  expectRefusal("in.mp4", {"in.mp4", "1000 streams"});
}

}  // namespace
