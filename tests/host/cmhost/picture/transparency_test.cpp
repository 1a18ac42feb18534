#include "host/cmhost/picture/transparency.h"

#include <gtest/gtest.h>

#include <cstring>

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

namespace {

using cmhost::isTransparent;

constexpr int width = 7;
constexpr int height = 5;

// With every byte of every plane set, which is opaque for depths of 8 and 16 bits.
cmhost::FramePtr filledFrame(AVPixelFormat format) {
  cmhost::FramePtr frame = cmhost::newFrame();
  frame->format = format;
  frame->width = width;
  frame->height = height;
  cmhost::allocatePicture(*frame);
  for (const AVBufferRef* const buffer : frame->buf)
    if (buffer != nullptr) std::memset(buffer->data, 0xFF, buffer->size);
  return frame;
}

TEST(Transparency, NeedsAnAlphaChannel) {
  for (const AVPixelFormat format :
       {AV_PIX_FMT_YUV420P, AV_PIX_FMT_RGB24, AV_PIX_FMT_RGB0, AV_PIX_FMT_GRAY8}) {
    const auto frame = filledFrame(format);
    std::memset(frame->data[0], 0, static_cast<std::size_t>(frame->linesize[0]) * height);
    EXPECT_FALSE(isTransparent(*frame)) << av_get_pix_fmt_name(format);
  }
}

TEST(Transparency, OnePixelDecides) {
  for (const AVPixelFormat format :
       {AV_PIX_FMT_YUVA420P, AV_PIX_FMT_YUVA444P, AV_PIX_FMT_BGRA, AV_PIX_FMT_ARGB, AV_PIX_FMT_YA8,
        AV_PIX_FMT_GBRAP, AV_PIX_FMT_RGBA64LE, AV_PIX_FMT_YUVA422P16LE, AV_PIX_FMT_YA16BE}) {
    SCOPED_TRACE(av_get_pix_fmt_name(format));
    const AVPixFmtDescriptor& descriptor = *av_pix_fmt_desc_get(format);
    const AVComponentDescriptor& alpha = descriptor.comp[descriptor.nb_components - 1];
    for (const int y : {0, height - 1}) {
      for (const int x : {0, width - 1}) {
        const auto frame = filledFrame(format);
        EXPECT_FALSE(isTransparent(*frame));
        frame->data[alpha.plane][y * frame->linesize[alpha.plane] + x * alpha.step + alpha.offset] =
            0xFE;
        EXPECT_TRUE(isTransparent(*frame)) << x << ", " << y;
      }
    }
  }
}

TEST(Transparency, OfAPaletteCountsWhereTheColourIsUsed) {
  const auto frame = filledFrame(AV_PIX_FMT_PAL8);
  for (int y = 0; y < height; ++y) std::memset(frame->data[0] + y * frame->linesize[0], 3, width);
  const std::uint32_t transparent = 0x00FFFFFF;
  std::memcpy(frame->data[1] + 9 * sizeof transparent, &transparent, sizeof transparent);
  EXPECT_FALSE(isTransparent(*frame));
  frame->data[0][(height - 1) * frame->linesize[0] + width - 1] = 9;
  EXPECT_TRUE(isTransparent(*frame));
}

TEST(Transparency, OfFloatingPointSamplesIsAssumed) {
  EXPECT_TRUE(isTransparent(*filledFrame(AV_PIX_FMT_GBRAPF32)));
}

}  // namespace
