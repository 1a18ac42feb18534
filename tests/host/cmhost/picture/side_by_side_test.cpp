// --compare: the unmarked frame and the marked one.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/host/cmhost/fixtures/clip.h"
#include "tests/host/cmhost/fixtures/program.h"

namespace {

TEST(SideBySide, HoldsBothFrames) {
  const program::Folder folder;
  for (const auto format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUV444P})
    for (const int width : {160, 161}) {
      SCOPED_TRACE(std::to_string(format) + ", width " + std::to_string(width));
      clip::Clip clip;
      clip.encoder = "ffv1";
      clip.pictures = clip::drawMany(format, width, 121, 3);
      clip::write(folder / "in.mkv", clip);
      ASSERT_EQ(program::run(folder.path(), {"--overwrite", "in.mkv", "marked.nut"}).exitCode, 0);
      ASSERT_EQ(
          program::run(folder.path(), {"--overwrite", "--compare", "in.mkv", "both.nut"}).exitCode,
          0);
      const auto marked = clip::read(folder / "marked.nut").pictures;
      const auto both = clip::read(folder / "both.nut").pictures;
      ASSERT_EQ(both.size(), 3U);
      ASSERT_EQ(both[2].width, width == 160 ? 320 : 324);
      ASSERT_EQ(both[2].height, 121);
      for (std::size_t plane = 0; plane < 3; ++plane) {
        const int shift = plane > 0 && format != AV_PIX_FMT_YUV444P ? 1 : 0;
        const auto half = static_cast<std::size_t>(both[2].width / 2 >> shift);
        const auto own = static_cast<std::size_t>((width + shift) >> shift);
        const auto rows = both[2].planes[plane].size() / (2 * half);
        ASSERT_EQ(rows * own, marked[2].planes[plane].size());
        for (std::size_t y = 0; y < rows; ++y)
          for (std::size_t x = 0; x < half; ++x) {
            const std::size_t from = y * own + std::min(x, own - 1);
            const std::size_t to = y * 2 * half + x;
            ASSERT_EQ(both[2].planes[plane][to], clip.pictures[2].planes[plane][from]);
            ASSERT_EQ(both[2].planes[plane][to + half], marked[2].planes[plane][from]);
          }
      }
    }
}

}  // namespace
