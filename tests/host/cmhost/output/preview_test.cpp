// A frame as a PNG. Expected colours are computed from the matrices' definitions.
#include <gtest/gtest.h>

#include <cmath>

#include "tests/host/cmhost/fixtures/clip.h"
#include "tests/host/cmhost/fixtures/program.h"

namespace {

using clip::Clip;
using program::Folder;
using program::Result;

struct Rgb {
  double red, green, blue;
};

// kr and kb are the luma shares of red and blue.
Rgb rgbOf(int y, int cb, int cr, double kr, double kb, bool fullRange) {
  const double luma = fullRange ? y / 255.0 : (y - 16) / 219.0;
  const double blue = (cb - 128) / (fullRange ? 255.0 : 224.0);
  const double red = (cr - 128) / (fullRange ? 255.0 : 224.0);
  const double r = luma + 2 * (1 - kr) * red;
  const double b = luma + 2 * (1 - kb) * blue;
  const double g = (luma - kr * r - kb * b) / (1 - kr - kb);
  return {r * 255, g * 255, b * 255};
}

class Preview : public testing::Test {
 protected:
  static clip::Picture flat(AVPixelFormat format, int width, int height, int y, int cb, int cr) {
    clip::Picture picture = clip::draw(format, width, height, 0);
    const int values[] = {y, cb, cr};
    for (std::size_t plane = 0; plane < 3; ++plane)
      std::fill(picture.planes[plane].begin(), picture.planes[plane].end(),
                static_cast<std::uint8_t>(values[plane]));
    return picture;
  }

  Result run(std::vector<std::string> options, const std::string& out = "null:") {
    options.insert(options.end(),
                   {"--overwrite", "--module", program::stub("passes_on"), "in.mkv", out});
    return program::run(folder.path(), options);
  }

  static void expectColour(const clip::Picture& png, const Rgb& expected) {
    ASSERT_EQ(png.format, AV_PIX_FMT_RGB24);
    const double want[] = {expected.red, expected.green, expected.blue};
    for (std::size_t i = 0; i < png.planes[0].size(); ++i)
      ASSERT_NEAR(png.planes[0][i], want[i % 3], 1.6) << "sample " << i;
  }

  Folder folder;
};

TEST_F(Preview, ColoursFollowMatrixAndRange) {
  const struct {
    AVColorSpace matrix;
    double kr, kb;
  } matrices[] = {{AVCOL_SPC_BT709, 0.2126, 0.0722},
                  {AVCOL_SPC_SMPTE170M, 0.299, 0.114},
                  {AVCOL_SPC_UNSPECIFIED, 0.299, 0.114}};  // the default for this size
  for (const auto& matrix : matrices)
    for (const bool fullRange : {false, true}) {
      SCOPED_TRACE(std::to_string(matrix.matrix) + (fullRange ? " full" : " limited"));
      Clip clip;
      clip.encoder = "ffv1";
      clip.tags.matrix = matrix.matrix;
      clip.tags.range = fullRange ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
      clip.pictures = {flat(AV_PIX_FMT_YUV420P, 65, 49, 120, 100, 160)};
      clip::write(folder / "in.mkv", clip);
      ASSERT_EQ(run({"--preview", "look.png"}).exitCode, 0);
      const auto png = clip::read(folder / "look.png").pictures.at(0);
      EXPECT_EQ(png.width, 65);
      EXPECT_EQ(png.height, 49);
      expectColour(png, rgbOf(120, 100, 160, matrix.kr, matrix.kb, fullRange));
    }
}

TEST_F(Preview, LargePicturesWithoutAMatrixAreOfHighDefinition) {
  Clip clip;
  clip.encoder = "ffv1";
  clip.pictures = {flat(AV_PIX_FMT_YUV422P, 64, 720, 90, 140, 110)};
  clip::write(folder / "in.mkv", clip);
  ASSERT_EQ(run({"--preview", "look.png"}).exitCode, 0);
  expectColour(clip::read(folder / "look.png").pictures.at(0),
               rgbOf(90, 140, 110, 0.2126, 0.0722, false));
}

TEST_F(Preview, FrameAskedFor) {
  Clip clip;
  clip.encoder = "ffv1";
  for (int i = 0; i < 6; ++i) {
    clip.pictures.push_back(flat(AV_PIX_FMT_YUV444P, 32, 32, 40 + 20 * i, 128, 128));
    clip.pictures.back().pts = i;
  }
  clip::write(folder / "in.mkv", clip);
  ASSERT_EQ(run({"--preview", "look@2.png@4"}).exitCode, 0);
  expectColour(clip::read(folder / "look@2.png").pictures.at(0),
               rgbOf(120, 128, 128, 0.299, 0.114, false));
  ASSERT_EQ(run({"--preview", "both.png@1", "--compare"}).exitCode, 0);
  EXPECT_EQ(clip::read(folder / "both.png").pictures.at(0).width, 64);
}

TEST_F(Preview, FrameThatDoesNotCome) {
  Clip clip;
  clip.encoder = "ffv1";
  clip.pictures = clip::drawMany(AV_PIX_FMT_YUV420P, 32, 32, 3);
  clip::write(folder / "in.mkv", clip);
  const Result result = run({"--preview", "look.png@3"}, "out.nut");
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_NE(
      result.err.find("look.png: not written: there is no frame 3, the output has only 3 frames"),
      std::string::npos)
      << result.err;
  EXPECT_EQ(folder.names(), (std::vector<std::string>{"in.mkv", "out.nut"}));
  EXPECT_EQ(clip::read(folder / "out.nut").pictures.size(), 3U);
}

TEST_F(Preview, PlaceThatCannotBeWritten) {
  Clip clip;
  clip.encoder = "ffv1";
  clip.pictures = clip::drawMany(AV_PIX_FMT_YUV420P, 32, 32, 3);
  clip::write(folder / "in.mkv", clip);
  EXPECT_EQ(run({"--preview", "nowhere/look.png"}).exitCode, 1);
  program::writeFile(folder / "look.png", "precious");
  const Result result = program::run(folder.path(), {"--preview", "look.png", "in.mkv", "out.nut"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_NE(result.err.find("look.png: file exists"), std::string::npos) << result.err;
  EXPECT_EQ(program::readFile(folder / "look.png"), "precious");
}

}  // namespace
