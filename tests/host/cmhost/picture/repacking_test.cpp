// Pixel formats that hold the samples of a layout in another packing.
#include "host/cmhost/picture/repacking.h"

#include <gtest/gtest.h>

extern "C" {
#include <libavutil/pixdesc.h>
}

#include <cstring>

#include "tests/host/cmhost/fixtures/clip.h"
#include "tests/host/cmhost/fixtures/program.h"

namespace {

struct Packing {
  const char* name;
  const char* planar;
};

constexpr Packing packings[] = {
    {"nv12", "yuv420p"},    {"nv21", "yuv420p"},    {"nv16", "yuv422p"}, {"yuyv422", "yuv422p"},
    {"uyvy422", "yuv422p"}, {"yvyu422", "yuv422p"}, {"nv24", "yuv444p"}, {"nv42", "yuv444p"}};

cmhost::FramePtr planarFrame(const clip::Picture& picture) {
  cmhost::FramePtr frame = cmhost::newFrame();
  frame->format = picture.format;
  frame->width = picture.width;
  frame->height = picture.height;
  cmhost::allocatePicture(*frame);
  for (int plane = 0; plane < 3; ++plane) {
    const clip::Bytes& from = picture.planes[static_cast<std::size_t>(plane)];
    const cmhost::PlaneSize size =
        cmhost::filePlane(*cmhost::layoutOf(picture.format), picture.width, picture.height, plane);
    for (std::size_t y = 0; y < size.height; ++y)
      std::memcpy(frame->data[plane] + y * static_cast<std::size_t>(frame->linesize[plane]),
                  from.data() + y * size.width, size.width);
  }
  return frame;
}

// The digest of each frame, without the comments.
std::string digests(std::string text) {
  std::string found;
  for (std::size_t begin = 0; begin < text.size(); begin = text.find('\n', begin) + 1)
    if (text[begin] != '#') found += text.substr(text.find('\n', begin) - 32, 33);
  return found;
}

// What ffmpeg interleaved is what it was made from.
TEST(Repacking, KeepsEverySampleOfTheInput) {
  const program::Folder folder;
  for (const Packing& each : packings) {
    if (std::string(each.name) == "nv16") continue;  // ffmpeg reads it only
    SCOPED_TRACE(each.name);
    clip::Clip clip;
    clip.encoder = "ffv1";
    clip.pictures = clip::drawMany(av_get_pix_fmt(each.planar), 64, 48, 2);
    clip::write(folder / "planar.mkv", clip);
    program::ffmpeg(folder.path(), std::string("-i planar.mkv -c:v rawvideo -pix_fmt ") +
                                       each.name + " -f rawvideo in.raw");
    const program::Result result = program::run(
        folder.path(), {"--module", program::stub("passes_on"), "--input-format", "rawvideo",
                        "--input-option", std::string("pixel_format=") + each.name,
                        "--input-option", "video_size=64x48", "--hash", "-", "in.raw", "null:"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.err.find("warning"), std::string::npos) << result.err;
    EXPECT_EQ(digests(result.out),
              digests(program::ffmpeg(folder.path(), "-i planar.mkv -f framemd5 -")));
  }
}

TEST(Repacking, GreyHasNeutralChroma) {
  const program::Folder folder;
  program::ffmpeg(folder.path(),
                  "-f lavfi -i testsrc=size=33x21:rate=5 -frames:v 1 -pix_fmt gray grey.png");
  program::ffmpeg(folder.path(), "-i grey.png -f rawvideo grey.raw");
  const program::Result result = program::run(
      folder.path(),
      {"--module", program::stub("passes_on"), "grey.png", "out.mkv", "--encoder", "ffv1"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  const clip::Clip written = clip::read(folder / "out.mkv");
  ASSERT_EQ(written.pictures.size(), 1U);
  EXPECT_EQ(written.pictures[0].format, AV_PIX_FMT_YUV420P);
  EXPECT_EQ(written.tags.range, AVCOL_RANGE_JPEG);
  const clip::Bytes& luma = written.pictures[0].planes[0];
  EXPECT_TRUE(std::string(luma.begin(), luma.end()) == program::readFile(folder / "grey.raw"));
  for (const std::size_t plane : {1U, 2U})
    EXPECT_EQ(written.pictures[0].planes[plane], clip::Bytes(17 * 11, 128));
}

TEST(Repacking, AndBackGivesTheSamePicture) {
  for (const Packing& each : packings) {
    const AVPixelFormat formats[] = {AV_PIX_FMT_RGB24, AV_PIX_FMT_GRAY8, av_get_pix_fmt(each.name),
                                     AV_PIX_FMT_NONE};
    for (const int width : {1, 32, 33}) {
      SCOPED_TRACE(std::string(each.name) + ", width " + std::to_string(width));
      const clip::Picture picture = clip::draw(av_get_pix_fmt(each.planar), width, 7, 0);
      const cmhost::PictureLayout& layout = *cmhost::layoutOf(picture.format);
      ASSERT_EQ(cmhost::interleavedFormatOf(layout, formats), formats[2]);
      const cmhost::FramePtr frame = planarFrame(picture);
      const cmhost::FramePtr back = cmhost::asPlanes(*cmhost::interleaved(*frame, formats[2]));
      ASSERT_EQ(back->format, picture.format);
      for (int plane = 0; plane < 3; ++plane) {
        const cmhost::PlaneSize size = cmhost::filePlane(layout, width, 7, plane);
        for (std::size_t y = 0; y < size.height; ++y)
          ASSERT_EQ(
              std::memcmp(back->data[plane] + y * static_cast<std::size_t>(back->linesize[plane]),
                          frame->data[plane] + y * static_cast<std::size_t>(frame->linesize[plane]),
                          size.width),
              0);
      }
    }
  }
}

// This encoder supports only UYVY.
TEST(Repacking, ServesEncodersThatInterleave) {
  const program::Folder folder;
  clip::Clip clip;
  clip.encoder = "ffv1";
  clip.pictures = clip::drawMany(AV_PIX_FMT_YUV422P, 720, 486, 2);
  clip::write(folder / "in.mkv", clip);
  const program::Result result =
      program::run(folder.path(), {"--encoder", "avui", "--encoder-option", "strict=-2", "--hash",
                                   "hash", "in.mkv", "out.mov"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(program::probe(folder.path(), "out.mov", "stream=codec_name"), "codec_name=avui\n");
  EXPECT_EQ(digests(program::ffmpeg(folder.path(), "-i out.mov -pix_fmt yuv422p -f framemd5 -")),
            digests(program::readFile(folder / "hash")));
}

}  // namespace
