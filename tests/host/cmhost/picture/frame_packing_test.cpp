#include "host/cmhost/picture/frame_packing.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

#include <gtest/gtest.h>

#include <vector>

#include "host/cmhost/support/failure.h"

namespace {

using cmhost::FramePtr;
using cmhost::PictureLayout;

// Samples have different values, as far as a byte allows.
std::uint8_t sample(int plane, int x, int y) {
  return static_cast<std::uint8_t>(plane * 91 + x * 7 + y * 31);
}

struct PlaneSize {
  int width;
  int height;
};

PlaneSize planeSize(const PictureLayout& layout, int width, int height, int plane, int roundUp) {
  if (plane == 0) return {width, height};
  return {(width + (layout.shiftX != 0 ? roundUp : 0)) >> layout.shiftX,
          (height + (layout.shiftY != 0 ? roundUp : 0)) >> layout.shiftY};
}

FramePtr decodedFrame(const PictureLayout& layout, int width, int height) {
  FramePtr frame = cmhost::newFrame();
  frame->format = layout.pixelFormat;
  frame->width = width;
  frame->height = height;
  EXPECT_EQ(av_frame_get_buffer(frame.get(), 0), 0);
  frame->pts = 1234;
  cmhost::setInterlaced(*frame, true, true);
  frame->color_range = AVCOL_RANGE_JPEG;
  frame->sample_aspect_ratio = {16, 15};
  for (int plane = 0; plane < 3; ++plane) {
    const PlaneSize size = planeSize(layout, width, height, plane, 1);
    for (int y = 0; y < size.height; ++y)
      for (int x = 0; x < size.width; ++x)
        frame->data[plane][y * frame->linesize[plane] + x] = sample(plane, x, y);
  }
  return frame;
}

// The bytes that may be read after the last plane.
std::ptrdiff_t paddingOf(const AVFrame& frame) {
  const AVPixFmtDescriptor& format = *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  const AVBufferRef* const buffer = av_frame_get_plane_buffer(const_cast<AVFrame*>(&frame), 2);
  const int rows = -((-frame.height) >> format.log2_chroma_h);
  return buffer->data + buffer->size - (frame.data[2] + frame.linesize[2] * rows);
}

class FramePacking : public testing::TestWithParam<const char*> {
 protected:
  const PictureLayout& layout_ = *cmhost::layoutOfFourcc(cmhost::fourccOf(GetParam()));
};

TEST_P(FramePacking, PlanesRoundDownOnTheWayInAndUpOnTheWayOut) {
  for (int width = 1; width <= 9; ++width) {
    for (int height = 1; height <= 7; ++height) {
      SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height));
      const auto packed = packFrame(decodedFrame(layout_, width, height), layout_);
      std::vector<std::uint8_t> expected;
      for (int plane = 0; plane < 3; ++plane) {
        const PlaneSize size = planeSize(layout_, width, height, plane, 0);
        for (int y = 0; y < size.height; ++y)
          for (int x = 0; x < size.width; ++x) expected.push_back(sample(plane, x, y));
      }
      ASSERT_EQ(std::vector<std::uint8_t>(packed->data(), packed->data() + packed->size()),
                expected);

      // As a component does: a frame created from this one with other samples.
      for (std::uint8_t& byte : expected) byte = static_cast<std::uint8_t>(255 - byte);
      const QOR::RPtr<QOR::CM::RVideoFrame> put(
          QOR::CM::RVideoFrame::createWithData(packed.get(), layout_.fourcc, packed->size(),
                                               expected.data(), 0, QOR::ConstructionCopyData));
      const FramePtr unpacked = unpackFrame(put.get(), layout_);
      EXPECT_GE(paddingOf(*unpacked), 32);
      EXPECT_EQ(unpacked->pts, 1234);
      EXPECT_TRUE(cmhost::isInterlacedFrame(*unpacked));
      EXPECT_TRUE(cmhost::isTopFieldFirst(*unpacked));
      EXPECT_EQ(unpacked->color_range, AVCOL_RANGE_JPEG);
      EXPECT_EQ(unpacked->sample_aspect_ratio.num, 16);
      for (int plane = 0; plane < 3; ++plane) {
        const PlaneSize seen = planeSize(layout_, width, height, plane, 0);
        const PlaneSize whole = planeSize(layout_, width, height, plane, 1);
        for (int y = 0; y < whole.height; ++y) {
          for (int x = 0; x < whole.width; ++x) {
            const bool changed = x < seen.width && y < seen.height;
            const std::uint8_t value = sample(plane, x, y);
            ASSERT_EQ(unpacked->data[plane][y * unpacked->linesize[plane] + x],
                      changed ? 255 - value : value)
                << "plane " << plane << " at " << x << ", " << y;
          }
        }
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Layouts, FramePacking, testing::Values("IYUV", "Y22P", "Y44P"));

TEST(FramePackingSize, CountsTheContractsPlanes) {
  const auto size = [](const char* fourcc, int width, int height) {
    return cmhost::packedSize(*cmhost::layoutOfFourcc(cmhost::fourccOf(fourcc)), width, height);
  };
  EXPECT_EQ(size("IYUV", 1920, 1080), 3110400U);
  EXPECT_EQ(size("IYUV", 7, 5), 35U + 2 * 3 * 2);
  EXPECT_EQ(size("Y22P", 7, 5), 35U + 2 * 3 * 5);
  EXPECT_EQ(size("Y44P", 7, 5), 35U * 3);
  EXPECT_THROW(size("Y44P", 40000, 40000), cmhost::Failure);
}

TEST(FramePacking, RefusesWhatIsNoFrameOfTheLayout) {
  const PictureLayout& layout = *cmhost::layoutOfFourcc(cmhost::fourccOf("IYUV"));
  const auto packed = packFrame(decodedFrame(layout, 4, 4), layout);
  std::uint8_t bytes[64] = {};
  const auto made = [&](unsigned int fourcc, unsigned int size) {
    return QOR::RPtr<QOR::CM::RVideoFrame>(QOR::CM::RVideoFrame::createWithData(
        packed.get(), fourcc, size, bytes, 0, QOR::ConstructionCopyData));
  };
  EXPECT_NO_THROW(unpackFrame(made(layout.fourcc, 24).get(), layout));
  EXPECT_THROW(unpackFrame(made(layout.fourcc, 23).get(), layout), cmhost::Failure);
  EXPECT_THROW(unpackFrame(made(layout.fourcc, 25).get(), layout), cmhost::Failure);
  EXPECT_THROW(unpackFrame(made(cmhost::fourccOf("Y22P"), 24).get(), layout), cmhost::Failure);
  EXPECT_THROW(unpackFrame(nullptr, layout), cmhost::Failure);
  const auto foreign = cm::VideoFrame::create(layout.fourcc, 24, nullptr);
  EXPECT_THROW(unpackFrame(foreign.get(), layout), cmhost::Failure);
}

}  // namespace
