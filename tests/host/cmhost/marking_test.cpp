// Marking real files: the output equals the result of the engines, byte for byte.
#include <gtest/gtest.h>

#include <tuple>

#include "tests/component/filter/video/static_watermark/reference_mark.h"
#include "tests/host/cmhost/fixtures/clip.h"
#include "tests/host/cmhost/fixtures/program.h"

namespace {

struct Layout {
  AVPixelFormat format;
  unsigned int compositorFormat;
  const char* fourcc;
};

constexpr Layout layouts[] = {{AV_PIX_FMT_YUV420P, 0, "IYUV"},
                              {AV_PIX_FMT_YUV422P, 1, "Y22P"},
                              {AV_PIX_FMT_YUV444P, 2, "Y44P"}};

// The contract rounds chroma sizes down; the extra samples in files are not changed.
clip::Picture mark(const clip::Picture& picture, unsigned int format) {
  const std::size_t width[] = {
      static_cast<std::size_t>(picture.width),
      static_cast<std::size_t>(picture.width) >> reference_mark::shift_x(format)};
  const std::size_t height[] = {
      static_cast<std::size_t>(picture.height),
      static_cast<std::size_t>(picture.height) >> reference_mark::shift_y(format)};
  const auto stride = [&](std::size_t plane) {
    const std::size_t half = reference_mark::shift_x(format);
    return plane == 0 ? width[0] : (width[0] + half) >> half;
  };
  reference_mark::bytes packed;
  for (std::size_t plane = 0; plane < 3; ++plane)
    for (std::size_t y = 0; y < height[plane > 0]; ++y) {
      const auto row =
          picture.planes[plane].begin() + static_cast<std::ptrdiff_t>(y * stride(plane));
      packed.insert(packed.end(), row, row + static_cast<std::ptrdiff_t>(width[plane > 0]));
    }
  packed = reference_mark::marked(packed, static_cast<unsigned int>(picture.width),
                                  static_cast<unsigned int>(picture.height), format);
  clip::Picture result = picture;
  auto from = packed.begin();
  for (std::size_t plane = 0; plane < 3; ++plane)
    for (std::size_t y = 0; y < height[plane > 0]; ++y) {
      const auto count = static_cast<std::ptrdiff_t>(width[plane > 0]);
      std::copy(from, from + count,
                result.planes[plane].begin() + static_cast<std::ptrdiff_t>(y * stride(plane)));
      from += count;
    }
  return result;
}

struct Size {
  int width;
  int height;
};

class Marking : public testing::TestWithParam<std::tuple<Layout, Size, const char*>> {};

TEST_P(Marking, IsWhatTheEnginesMake) {
  const auto& [layout, size, outputName] = GetParam();
  const program::Folder folder;
  clip::Clip input;
  input.encoder = "ffv1";
  input.pictures = clip::drawMany(layout.format, size.width, size.height, 5);
  clip::write(folder / "in.mkv", input);

  const program::Result run = program::run(folder.path(), {"--lossless", "in.mkv", outputName});
  ASSERT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(folder.names(), (std::vector<std::string>{"in.mkv", outputName}));
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err.rfind("Size: ", 0), 0U) << run.err;

  const clip::Clip output = clip::read(folder / outputName);
  ASSERT_EQ(output.pictures.size(), input.pictures.size());
  bool anyMark = false;
  for (std::size_t i = 0; i < input.pictures.size(); ++i) {
    const clip::Picture expected = mark(input.pictures[i], layout.compositorFormat);
    EXPECT_EQ(output.pictures[i].width, size.width);
    EXPECT_EQ(output.pictures[i].height, size.height);
    EXPECT_EQ(output.pictures[i].format, layout.format);
    for (std::size_t plane = 0; plane < 3; ++plane)
      EXPECT_EQ(output.pictures[i].planes[plane], expected.planes[plane])
          << "frame " << i << " plane " << plane;
    anyMark |= expected.planes[0] != input.pictures[i].planes[0];

    // Rows without the mark are not changed.
    const auto placed = reference_mark::place(size.width, size.height);
    const auto above = static_cast<std::ptrdiff_t>(placed.y * size.width);
    EXPECT_TRUE(std::equal(output.pictures[i].planes[0].begin(),
                           output.pictures[i].planes[0].begin() + above,
                           input.pictures[i].planes[0].begin()));
  }
  EXPECT_TRUE(anyMark);
}

INSTANTIATE_TEST_SUITE_P(Lossless, Marking,
                         testing::Combine(testing::ValuesIn(layouts),
                                          testing::Values(Size{320, 240}, Size{321, 241},
                                                          Size{320, 241}, Size{33, 25}),
                                          testing::Values("out.y4m", "out.nut", "out.mkv")),
                         [](const auto& parameters) {
                           const Size size = std::get<1>(parameters.param);
                           return std::string(std::get<0>(parameters.param).fourcc) + "_" +
                                  std::to_string(size.width) + "x" + std::to_string(size.height) +
                                  "_" + (std::get<2>(parameters.param) + 4);
                         });

TEST(MarkingFullRange, IsTakenAndStaysFullRange) {
  const program::Folder folder;
  clip::Clip input;
  input.encoder = "mjpeg";
  input.tags.range = AVCOL_RANGE_JPEG;
  input.pictures = clip::drawMany(AV_PIX_FMT_YUVJ420P, 160, 120, 3);
  clip::write(folder / "in.mkv", input);
  const clip::Clip decoded = clip::read(folder / "in.mkv");

  const program::Result run = program::run(folder.path(), {"--lossless", "in.mkv", "out.mkv"});
  ASSERT_EQ(run.exitCode, 0) << run.err;
  const clip::Clip output = clip::read(folder / "out.mkv");
  EXPECT_EQ(output.tags.range, AVCOL_RANGE_JPEG);
  ASSERT_EQ(output.pictures.size(), 3U);
  for (std::size_t i = 0; i < 3; ++i)
    EXPECT_EQ(output.pictures[i].planes, mark(decoded.pictures[i], 0).planes);
}

TEST(MarkingLongStream, PassesManyMoreFramesThanTheQueuesHold) {
  const program::Folder folder;
  clip::Clip input;
  input.encoder = "ffv1";
  input.pictures = clip::drawMany(AV_PIX_FMT_YUV420P, 64, 48, 300);
  clip::write(folder / "in.mkv", input);
  const program::Result run = program::run(folder.path(), {"in.mkv", "out.nut"});
  ASSERT_EQ(run.exitCode, 0) << run.err;
  const clip::Clip output = clip::read(folder / "out.nut");
  ASSERT_EQ(output.pictures.size(), 300U);
  for (const std::size_t i : {0U, 7U, 150U, 299U})
    EXPECT_EQ(output.pictures[i].planes, mark(input.pictures[i], 0).planes);
}

}  // namespace
