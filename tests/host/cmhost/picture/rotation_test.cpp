// Frames are turned as players show them, compared with ffmpeg's own turning.
#include <gtest/gtest.h>

#include "tests/host/cmhost/fixtures/clip.h"
#include "tests/host/cmhost/fixtures/program.h"

namespace {

clip::Clip turnedClip(AVPixelFormat format, int width, int height, double degrees,
                      bool mirrored = false) {
  clip::Clip clip;
  clip.encoder = "mjpeg";
  clip.tags.rotation = degrees;
  clip.tags.mirrored = mirrored;
  clip.tags.sampleAspect = {4, 3};
  clip.pictures = clip::drawMany(format, width, height, 2);
  return clip;
}

// Without the comments, which name the program that wrote them.
std::string digests(const std::string& text) {
  std::string lines;
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = std::min(text.find('\n', begin), text.size() - 1) + 1;
    if (text[begin] != '#' || text.compare(begin, 4, "#dim") == 0 ||
        text.compare(begin, 4, "#sar") == 0)
      lines += text.substr(begin, end - begin);
    begin = end;
  }
  return lines;
}

std::string ownDigests(const std::string& folder, const std::string& name) {
  const program::Result result =
      program::run(folder, {"--module", program::stub("passes_on"), "--hash", "-", name, "null:"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.err.find("warning"), std::string::npos) << result.err;
  return digests(result.out);
}

TEST(Rotation, MovesEverySampleAsFfmpegDoes) {
  const program::Folder folder;
  constexpr struct {
    int width;
    int height;
  } sizes[] = {{64, 48}, {65, 47}, {33, 70}, {5, 3}};
  for (const auto format : {AV_PIX_FMT_YUVJ420P, AV_PIX_FMT_YUVJ422P, AV_PIX_FMT_YUVJ444P})
    for (const auto& size : sizes)
      for (const int degrees : {0, 90, 180, 270})
        for (const bool mirrored : {false, true}) {
          if (format == AV_PIX_FMT_YUVJ422P && degrees % 180 != 0) continue;
          SCOPED_TRACE(std::to_string(format) + ", " + std::to_string(size.width) + "x" +
                       std::to_string(size.height) + ", " + std::to_string(degrees) +
                       (mirrored ? ", mirrored" : ""));
          clip::write(folder / "in.mov",
                      turnedClip(format, size.width, size.height, degrees, mirrored));
          const std::string expected =
              digests(program::ffmpeg(folder.path(), "-i in.mov -f framemd5 -"));
          ASSERT_NE(expected.find("#sar 0: " + std::string(degrees % 180 == 0 ? "4/3" : "3/4")),
                    std::string::npos)
              << expected;
          EXPECT_EQ(ownDigests(folder.path(), "in.mov"), expected);
        }
}

TEST(Rotation, IsWrittenUprightInEveryContainer) {
  const program::Folder folder;
  clip::write(folder / "in.mov", turnedClip(AV_PIX_FMT_YUVJ420P, 64, 48, 90));
  for (const char* const name : {"out.mp4", "out.mov", "out.mkv", "out.nut", "out.avi", "out.ts"}) {
    SCOPED_TRACE(name);
    const program::Result result = program::run(folder.path(), {"in.mov", name});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.err.find("rotate"), std::string::npos) << result.err;
    EXPECT_EQ(program::probe(folder.path(), name, "stream_side_data=rotation"), "");
    const auto pictures = clip::read(folder / name).pictures;
    ASSERT_FALSE(pictures.empty());
    EXPECT_EQ(pictures[0].width, 48);
    EXPECT_EQ(pictures[0].height, 64);
  }
}

TEST(Rotation, IsKeptWithNoRotate) {
  const program::Folder folder;
  clip::write(folder / "in.mov", turnedClip(AV_PIX_FMT_YUVJ420P, 64, 48, 90));
  const program::Result result = program::run(folder.path(), {"--no-rotate", "in.mov", "out.mp4"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_NE(result.err.find("warning: players rotate this video by 90 degrees clockwise"),
            std::string::npos)
      << result.err;
  EXPECT_EQ(
      program::probe(folder.path(), "out.mp4", "stream=width,height:stream_side_data=rotation"),
      "width=64\nheight=48\nrotation=-90\n");
}

TEST(Rotation, OfOtherAnglesIsLeftToPlayers) {
  const program::Folder folder;
  clip::write(folder / "in.mov", turnedClip(AV_PIX_FMT_YUVJ420P, 64, 48, 30));
  const program::Result result = program::run(folder.path(), {"in.mov", "out.mov"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_NE(result.err.find("players rotate this video"), std::string::npos) << result.err;
  const std::string found =
      program::probe(folder.path(), "out.mov", "stream=width:stream_side_data=rotation");
  EXPECT_EQ(found.substr(0, found.rfind('=')), "width=64\nrotation") << found;
}

TEST(Rotation, OfAQuarterNeedsAConversionFor422) {
  const program::Folder folder;
  clip::write(folder / "in.mov", turnedClip(AV_PIX_FMT_YUVJ422P, 64, 48, 270));
  program::expectError(program::run(folder.path(), {"in.mov", "out.nut"}), 1,
                       "players turn this yuvj422p video by 90 degrees");
  const std::pair<const char*, const char*> conversions[] = {
      {"auto", "yuv420p"}, {"IYUV", "yuv420p"}, {"Y22P", "yuv422p"}, {"Y44P", "yuv444p"}};
  for (const auto& [layout, format] : conversions) {
    SCOPED_TRACE(layout);
    const program::Result result =
        program::run(folder.path(), {"--overwrite", "--module", program::stub("passes_on"),
                                     "--convert", layout, "in.mov", "out.nut"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(program::probe(folder.path(), "out.nut", "stream=width,height,pix_fmt"),
              std::string("width=48\nheight=64\npix_fmt=") + format + "\n");
    program::ffmpeg(folder.path(),
                    "-i in.mov -vf format=yuvj444p,extractplanes=y -f rawvideo luma.raw");
    program::ffmpeg(folder.path(), "-i out.nut -vf extractplanes=y -f rawvideo own.raw");
    EXPECT_TRUE(program::readFile(folder / "own.raw") == program::readFile(folder / "luma.raw"));
  }
}

TEST(Rotation, MovesFieldsAndChroma) {
  const program::Folder folder;
  clip::Clip clip = turnedClip(AV_PIX_FMT_YUV420P, 64, 48, 180);
  clip.encoder = "libx264";
  clip.tags.chroma = AVCHROMA_LOC_LEFT;
  clip.tags.fieldOrder = AV_FIELD_TT;
  clip.interlaced = {true, true};
  clip.topFieldFirst = {true, true};
  clip::write(folder / "half.mov", clip);
  ASSERT_EQ(program::run(folder.path(), {"half.mov", "half.mkv"}).exitCode, 0);
  EXPECT_EQ(program::probe(folder.path(), "half.mkv", "stream=field_order"), "field_order=bb\n");

  clip.tags.rotation = 90;
  clip::write(folder / "quarter.mov", clip);
  const program::Result result =
      program::run(folder.path(), {"--encoder", "libx264", "quarter.mov", "quarter.mp4"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_NE(result.err.find("interlaced video is turned by 90 degrees and written as progressive"),
            std::string::npos)
      << result.err;
  EXPECT_EQ(program::probe(folder.path(), "quarter.mp4", "stream=field_order,chroma_location"),
            "chroma_location=top\nfield_order=progressive\n");
}

// The orientation of a photo is in its EXIF data and not known before it is decoded.
TEST(Rotation, OfAPhotoIsApplied) {
  const program::Folder folder;
  program::ffmpeg(folder.path(),
                  "-f lavfi -i testsrc2=size=64x48 -frames:v 1 -pix_fmt yuvj420p plain.jpg");
  // APP1 with one entry: orientation 6, to be turned clockwise.
  const std::string exif(
      "\xFF\xE1\x00\x22"
      "Exif\0\0MM\0\x2A\0\0\0\x08\0\x01\x01\x12\0\x03\0\0\0\x01\0\x06\0\0\0\0\0\0",
      36);
  std::string bytes = program::readFile(folder / "plain.jpg");
  program::writeFile(folder / "photo.jpg", bytes.insert(2, exif));
  const std::string expected =
      digests(program::ffmpeg(folder.path(), "-i photo.jpg -f framemd5 -"));
  ASSERT_NE(expected.find("48x64"), std::string::npos) << expected;
  EXPECT_EQ(ownDigests(folder.path(), "photo.jpg"), expected);
  const program::Result stored =
      program::run(folder.path(), {"--no-rotate", "photo.jpg", "stored.mov"});
  ASSERT_EQ(stored.exitCode, 0) << stored.err;
  EXPECT_EQ(program::probe(folder.path(), "stored.mov", "stream=width:stream_side_data=rotation"),
            "width=64\nrotation=-90\n");
}

}  // namespace
