// Every kind of damage is reported with its position and leaves no output.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "tests/host/cmhost/fixtures/clip.h"
#include "tests/host/cmhost/fixtures/program.h"

namespace {

using program::Result;

std::size_t position(const std::string& bytes, const std::string& what, std::size_t from = 0) {
  const std::size_t at = bytes.find(what, from);
  if (at == std::string::npos) throw std::runtime_error("the clip is not as expected");
  return at;
}

class Damage : public testing::Test {
 protected:
  std::string make(const std::string& name, const char* encoder, AVPixelFormat format,
                   int count = 24) {
    clip::Clip clip;
    clip.encoder = encoder;
    clip.pictures = clip::drawMany(format, 160, 120, count);
    clip::write(folder / name, clip);
    return program::readFile(folder / name);
  }

  Result run(const std::string& name, const std::string& bytes,
             const std::vector<std::string>& options = {}) {
    program::writeFile(folder / name, bytes);
    std::vector<std::string> arguments = options;
    arguments.insert(arguments.end(), {name, "out.nut"});
    return program::run(folder.path(), arguments);
  }

  void expectTold(const Result& result, const std::string& name) {
    EXPECT_EQ(result.exitCode, 1) << result.err;
    EXPECT_NE(result.err.find(name + ": damaged or truncated: "), std::string::npos) << result.err;
    EXPECT_EQ(folder.names(), std::vector<std::string>{name});
  }

  program::Folder folder;
};

// The error occurs when the decoder is drained, after the last packet.
TEST_F(Damage, InTheLastPicture) {
  std::string bytes = make("in.mkv", "png", AV_PIX_FMT_RGB24);
  const std::size_t last = bytes.rfind("IDAT");
  ASSERT_NE(last, std::string::npos);
  bytes[last + 100] = static_cast<char>(bytes[last + 100] ^ 0x10);
  const Result result = run("in.mkv", bytes, {"--convert", "Y44P"});
  expectTold(result, "in.mkv");
  // Some decoders process several frames at once.
  EXPECT_NE(result.err.find("the last at 0.8"), std::string::npos) << result.err;
}

// Huffman codes without checksums: a flipped bit is detected when the data after it is invalid.
TEST_F(Damage, InMjpegThatTheDecoderOnlyLogs) {
  const std::string whole = make("in.mkv", "mjpeg", AV_PIX_FMT_YUVJ420P);
  const std::size_t scan = position(whole, "\xFF\xDA", whole.size() / 2);
  std::string bytes = whole;
  for (std::size_t i = 0; i < 5; ++i) {
    char& byte = bytes[scan + 400 + 97 * i];
    byte = static_cast<char>(byte ^ 0x40);
  }
  expectTold(run("in.mkv", bytes), "in.mkv");
}

TEST_F(Damage, InTiff) {
  std::string bytes = make("in.mov", "tiff", AV_PIX_FMT_RGB24);
  // Strips of packed run lengths: one bits give runs that are too long.
  const std::size_t picture = bytes.rfind(std::string("II*\0", 4));
  ASSERT_NE(picture, std::string::npos);
  std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(picture + 2000), 3000, '\x81');
  expectTold(run("in.mov", bytes, {"--convert", "Y44P"}), "in.mov");
}

TEST_F(Damage, PictureThatTheDecoderPassesOver) {
  std::string bytes = make("in.mp4", "libx265", AV_PIX_FMT_YUV420P);
  // NAL units in the container: a length of four bytes, then the unit type.
  const std::size_t box = position(bytes, "mdat") + 4;
  constexpr int last = 24;  // not a reference frame
  int slices = 0;
  for (std::size_t at = box; at + 5 < bytes.size() && slices < last;) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(bytes[at + i]); };
    const std::size_t length = std::size_t{byte(0)} << 24 | byte(1) << 16 | byte(2) << 8 | byte(3);
    const bool isSlice = (byte(4) >> 1 & 0x3F) < 32;
    constexpr char reserved = 45 << 1;
    if (isSlice && ++slices == last) bytes[at + 4] = reserved;
    at += 4 + length;
  }
  ASSERT_EQ(slices, last);
  const Result result = run("in.mp4", bytes);
  expectTold(result, "in.mp4");
  EXPECT_NE(result.err.find("the frame at 0."), std::string::npos) << result.err;
  EXPECT_NE(result.err.find(" is missing"), std::string::npos) << result.err;
}

// Demuxers skip data without a known header.
TEST_F(Damage, InTheHeadOfAnAviChunk) {
  std::string bytes = make("in.avi", "mpeg4", AV_PIX_FMT_YUV420P);
  std::size_t chunk = position(bytes, "movi");
  for (int i = 0; i < 5; ++i) chunk = position(bytes, "00dc", chunk + 4);
  std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(chunk), 4, '\0');
  const Result result = run("in.avi", bytes);
  expectTold(result, "in.avi");
  EXPECT_NE(result.err.find("found only 23 of the 24 frames declared in the header"),
            std::string::npos)
      << result.err;
}

TEST_F(Damage, InTheHeadOfAnMxfItem) {
  std::string bytes = make("in.mxf", "mpeg2video", AV_PIX_FMT_YUV420P);
  const std::string picture("\x06\x0E\x2B\x34\x01\x02\x01\x01\x0D\x01\x03\x01\x15", 13);
  std::size_t item = 0;
  for (int i = 0; i < 5; ++i) item = position(bytes, picture, item + 1);
  std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(item), 4, '\0');
  const Result result = run("in.mxf", bytes);
  expectTold(result, "in.mxf");
  EXPECT_NE(result.err.find("found only 23 of the 24 frames declared in the header"),
            std::string::npos)
      << result.err;
}

// The demuxer drops a frame if one of its packets is lost.
TEST_F(Damage, InTheHeadOfAnAsfPacket) {
  std::string bytes = make("in.wmv", "wmv2", AV_PIX_FMT_YUV420P);
  constexpr std::size_t headBytes = 50;  // of the object with the packets
  constexpr std::size_t packetBytes = 3200;
  const std::size_t object = position(bytes, "\x36\x26\xB2\x75\x8E\x66\xCF\x11");
  const std::size_t packet = object + headBytes + 5 * packetBytes;
  ASSERT_EQ(bytes[packet], '\x82');
  std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(packet), 40, '\0');
  expectTold(run("in.wmv", bytes), "in.wmv");
}

// A wrong time stamp moves a frame to where the edit list hides it.
TEST_F(Damage, InTheTimesOfAnMp4) {
  std::string bytes = make("in.mp4", "libx264", AV_PIX_FMT_YUV420P);
  bytes[position(bytes, "ctts") + 24] = '\x01';  // of the second frame
  const Result result = run("in.mp4", bytes);
  expectTold(result, "in.mp4");
  EXPECT_NE(result.err.find("hides frames"), std::string::npos) << result.err;
}

// AVI writers fill gaps with empty chunks, which are not frames.
TEST_F(Damage, GapsInAnAviAreNone) {
  clip::Clip clip;
  clip.encoder = "mpeg4";
  clip.pictures = clip::drawMany(AV_PIX_FMT_YUV420P, 160, 120, 8);
  for (clip::Picture& picture : clip.pictures) picture.pts *= 3;
  clip::write(folder / "in.avi", clip);
  const Result result = run("in.avi", program::readFile(folder / "in.avi"));
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(clip::read(folder / "out.nut").pictures.size(), 8U);
}

// A selected part does not contain the frames before and after it.
TEST_F(Damage, PartsAreNotCounted) {
  for (const char* const name : {"in.avi", "in.mxf"}) {
    const std::string bytes = make(name, "mpeg2video", AV_PIX_FMT_YUV420P);
    for (const std::vector<std::string>& part :
         {std::vector<std::string>{"--start", "0.6"}, {"--frames", "5"}}) {
      const Result result = run(name, bytes, part);
      EXPECT_EQ(result.exitCode, 0) << result.err;
      std::filesystem::remove(folder / "out.nut");
    }
  }
}

// The start of this file is not the start of a broadcast recording.
TEST_F(Damage, InTheFirstPictureOfAWholeFile) {
  std::string bytes = make("in.ogg", "libtheora", AV_PIX_FMT_YUV420P);
  const std::size_t page = position(bytes, "OggS", position(bytes, "\x82theora"));
  bytes[page + 500] = static_cast<char>(bytes[page + 500] ^ 0x10);
  expectTold(run("in.ogg", bytes), "in.ogg");
  std::filesystem::remove(folder / "in.ogg");

  bytes = make("in.mpg", "mpeg2video", AV_PIX_FMT_YUV420P);
  const std::size_t slice = position(bytes, std::string("\0\0\1\3", 4));
  std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(slice + 20), 60, '\xFF');
  expectTold(run("in.mpg", bytes), "in.mpg");
}

// Like the later files of a DVD.
TEST_F(Damage, ProgramStreamMayBeginWithinAPicture) {
  const std::string bytes = make("in.mpg", "mpeg2video", AV_PIX_FMT_YUV420P);
  const std::size_t pack = position(bytes, std::string("\0\0\1\xBA", 4), bytes.size() / 4);
  const Result result = run("in.mpg", bytes.substr(pack));
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_NE(result.err.find("everything before the first complete frame"), std::string::npos)
      << result.err;
  std::filesystem::remove(folder / "out.nut");
  const Result part = run("in.mpg", bytes.substr(pack), {"--start", "0.6"});
  EXPECT_EQ(part.exitCode, 0) << part.err;
  EXPECT_EQ(part.err.find("warning"), std::string::npos) << part.err;
}

TEST_F(Damage, InWhatIsReadWhileOpening) {
  std::string bytes = make("in.mkv", "ffv1", AV_PIX_FMT_YUV420P);
  // Makes the length of a tag's name exceed the tag.
  const std::size_t length = position(bytes,
                                      "\x88"
                                      "DURATION");
  bytes[length] = '\xFE';
  expectTold(run("in.mkv", bytes), "in.mkv");
}

// ffmpeg cannot fill in the length when it writes to a pipe.
TEST_F(Damage, AviWithoutItsLengthIsTakenWithAWarning) {
  std::string bytes = make("in.avi", "mpeg4", AV_PIX_FMT_YUV420P);
  std::fill_n(bytes.begin() + 4, 4, '\xFF');
  const Result result = run("in.avi", bytes);
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_NE(result.err.find("warning: in.avi: the file was not finalized"), std::string::npos)
      << result.err;
  EXPECT_EQ(clip::read(folder / "out.nut").pictures.size(), 24U);
}

}  // namespace
