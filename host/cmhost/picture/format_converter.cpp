#include "host/cmhost/picture/format_converter.h"

extern "C" {
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "host/cmhost/picture/picture_layout.h"
#include "host/cmhost/support/failure.h"

namespace cmhost {

namespace {

constexpr int scalerFlags =
    SWS_BICUBIC | SWS_ACCURATE_RND | SWS_BITEXACT | SWS_FULL_CHR_H_INT | SWS_FULL_CHR_H_INP;

int fieldHeight(int height, int field, int fields) {
  return (height + fields - 1 - field) / fields;
}

void convertField(const AVFrame& from, AVFrame& to, int field, int fields, SwsContext& scaler) {
  const std::uint8_t* source[4];
  std::uint8_t* target[4];
  int sourceStride[4];
  int targetStride[4];
  for (int plane = 0; plane < 4; ++plane) {
    sourceStride[plane] = from.linesize[plane] * fields;
    targetStride[plane] = to.linesize[plane] * fields;
    source[plane] = from.data[plane];
    target[plane] = to.data[plane];
    if (source[plane] != nullptr) source[plane] += field * from.linesize[plane];
    if (target[plane] != nullptr) target[plane] += field * to.linesize[plane];
  }
  sws_scale(&scaler, source, sourceStride, 0, fieldHeight(from.height, field, fields), target,
            targetStride);
}

// The colours of a palette have this format.
constexpr AVPixelFormat paletteFormat = AV_PIX_FMT_RGB32;

bool hasPalette(AVPixelFormat format) {
  return (av_pix_fmt_desc_get(format)->flags & AV_PIX_FMT_FLAG_PAL) != 0;
}

// The scaler converts a palette with lower precision than RGB.
FramePtr withoutPalette(const AVFrame& frame) {
  FramePtr result = emptyFrameLike(frame);
  result->format = paletteFormat;
  allocatePicture(*result);
  const auto* const palette = reinterpret_cast<const std::uint32_t*>(frame.data[1]);
  for (std::ptrdiff_t y = 0; y < frame.height; ++y) {
    const std::uint8_t* const from = frame.data[0] + y * frame.linesize[0];
    auto* const to = reinterpret_cast<std::uint32_t*>(result->data[0] + y * result->linesize[0]);
    std::transform(from, from + frame.width, to,
                   [palette](std::uint8_t colour) { return palette[colour]; });
  }
  return result;
}

}  // namespace

AVColorSpace usualMatrix(int height) {
  return height >= 720 ? AVCOL_SPC_BT709 : AVCOL_SPC_SMPTE170M;
}

bool isFullRange(const AVFrame& frame) {
  const PictureLayout* const layout = layoutOf(static_cast<AVPixelFormat>(frame.format));
  return frame.color_range == AVCOL_RANGE_JPEG ||
         (layout != nullptr && layout->fullRangePixelFormat == frame.format);
}

bool isRgb(AVPixelFormat format) {
  return (av_pix_fmt_desc_get(format)->flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL)) != 0;
}

FormatConverter::FormatConverter(const AVFrame& like, AVPixelFormat to)
    : to_(to),
      whole_(newContext(like, like.height)),
      fields_{newContext(like, fieldHeight(like.height, 0, 2)),
              newContext(like, fieldHeight(like.height, 1, 2))} {
  if (whole_ == nullptr)
    throw Failure(std::string("cannot convert the pixel format ") +
                  av_get_pix_fmt_name(static_cast<AVPixelFormat>(like.format)) + " to " +
                  av_get_pix_fmt_name(to));
}

FormatConverter::ContextPtr FormatConverter::newContext(const AVFrame& like, int height) const {
  auto from = static_cast<AVPixelFormat>(like.format);
  if (hasPalette(from)) from = paletteFormat;
  ContextPtr scaler(sws_getContext(like.width, height, from, like.width, height, to_, scalerFlags,
                                   nullptr, nullptr, nullptr),
                    &sws_freeContext);
  if (scaler == nullptr) return scaler;
  const bool ownMatrix = !isRgb(from) && like.colorspace != AVCOL_SPC_UNSPECIFIED;
  const int* const matrix =
      sws_getCoefficients(ownMatrix ? like.colorspace : usualMatrix(like.height));
  const bool sourceFull = isRgb(from) || isFullRange(like);
  const PictureLayout* const layout = layoutOf(to_);
  const bool targetFull = isRgb(to_) || (sourceFull && !isRgb(from)) ||
                          (layout != nullptr && layout->fullRangePixelFormat == to_);
  sws_setColorspaceDetails(scaler.get(), matrix, sourceFull ? 1 : 0, matrix, targetFull ? 1 : 0, 0,
                           1 << 16, 1 << 16);
  return scaler;
}

FramePtr FormatConverter::convert(const AVFrame& frame) {
  if (hasPalette(static_cast<AVPixelFormat>(frame.format))) return convert(*withoutPalette(frame));
  FramePtr result = emptyFrameLike(frame);
  result->format = to_;
  allocatePicture(*result);

  const bool byFields = isInterlacedFrame(frame) && fields_[0] != nullptr && fields_[1] != nullptr;
  if (byFields) {
    convertField(frame, *result, 0, 2, *fields_[0]);
    convertField(frame, *result, 1, 2, *fields_[1]);
  } else {
    convertField(frame, *result, 0, 1, *whole_);
  }
  return result;
}

}  // namespace cmhost
