#include "host/cmhost/converter.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

#include "host/cmhost/failure.h"

namespace cmhost {

namespace {

constexpr int scalerFlags =
    SWS_BICUBIC | SWS_ACCURATE_RND | SWS_BITEXACT | SWS_FULL_CHR_H_INT | SWS_FULL_CHR_H_INP;

AVColorSpace usualMatrix(int height) {
  return height >= 720 ? AVCOL_SPC_BT709 : AVCOL_SPC_SMPTE170M;
}

bool isFullRange(const AVFrame& frame) {
  const PictureLayout* const layout = layoutOf(static_cast<AVPixelFormat>(frame.format));
  return frame.color_range == AVCOL_RANGE_JPEG ||
         (layout != nullptr && layout->fullRangePixelFormat == frame.format);
}

int fieldHeight(int height, int field, int fields) {
  return (height + fields - 1 - field) / fields;
}

}  // namespace

Converter::Converter(const AVFrame& like, const PictureLayout& layout)
    : layout_(layout),
      isRgb_((av_pix_fmt_desc_get(static_cast<AVPixelFormat>(like.format))->flags &
              AV_PIX_FMT_FLAG_RGB) != 0),
      whole_(newScaler(like, like.height)),
      fields_{newScaler(like, fieldHeight(like.height, 0, 2)),
              newScaler(like, fieldHeight(like.height, 1, 2))} {
  if (whole_ == nullptr)
    throw Failure(std::string("the pixel format ") +
                  av_get_pix_fmt_name(static_cast<AVPixelFormat>(like.format)) +
                  " cannot be converted to " + fourccText(layout.fourcc));
}

Converter::ScalerPtr Converter::newScaler(const AVFrame& like, int height) const {
  ScalerPtr scaler(
      sws_getContext(like.width, height, static_cast<AVPixelFormat>(like.format), like.width,
                     height, layout_.pixelFormat, scalerFlags, nullptr, nullptr, nullptr),
      &sws_freeContext);
  if (scaler == nullptr) return scaler;
  const int fullRange = !isRgb_ && isFullRange(like) ? 1 : 0;
  const int* const matrix = sws_getCoefficients(isRgb_ || like.colorspace == AVCOL_SPC_UNSPECIFIED
                                                    ? usualMatrix(like.height)
                                                    : like.colorspace);
  sws_setColorspaceDetails(scaler.get(), matrix, isRgb_ ? 1 : fullRange, matrix, fullRange, 0,
                           1 << 16, 1 << 16);
  return scaler;
}

void Converter::convertField(const AVFrame& from, AVFrame& to, int field, int fields,
                             SwsContext& scaler) {
  const std::uint8_t* source[4];
  std::uint8_t* target[4];
  int sourceStride[4];
  int targetStride[4];
  const auto* const descriptor = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(from.format));
  const bool palette = (descriptor->flags & AV_PIX_FMT_FLAG_PAL) != 0;
  for (int plane = 0; plane < 4; ++plane) {
    const bool rows = !(palette && plane == 1);  // the palette has no fields
    sourceStride[plane] = from.linesize[plane] * (rows ? fields : 1);
    targetStride[plane] = to.linesize[plane] * fields;
    source[plane] = from.data[plane];
    target[plane] = to.data[plane];
    if (source[plane] != nullptr && rows) source[plane] += field * from.linesize[plane];
    if (target[plane] != nullptr) target[plane] += field * to.linesize[plane];
  }
  sws_scale(&scaler, source, sourceStride, 0, fieldHeight(from.height, field, fields), target,
            targetStride);
}

FramePtr Converter::convert(const AVFrame& frame) {
  FramePtr result = newFrame();
  if (av_frame_copy_props(result.get(), &frame) < 0) throw std::bad_alloc();
  result->format = layout_.pixelFormat;
  result->width = frame.width;
  result->height = frame.height;
  if (av_frame_get_buffer(result.get(), 0) < 0) throw std::bad_alloc();

  const bool byFields =
      frame.interlaced_frame != 0 && fields_[0] != nullptr && fields_[1] != nullptr;
  if (byFields) {
    convertField(frame, *result, 0, 2, *fields_[0]);
    convertField(frame, *result, 1, 2, *fields_[1]);
  } else {
    convertField(frame, *result, 0, 1, *whole_);
  }
  if (isRgb_) {
    result->colorspace = usualMatrix(frame.height);
    result->color_range = AVCOL_RANGE_MPEG;
  } else if (isFullRange(frame)) {
    result->color_range = AVCOL_RANGE_JPEG;
  }
  if (frame.format != layout_.pixelFormat && frame.format != layout_.fullRangePixelFormat)
    result->chroma_location = layout_.shiftX != 0 ? AVCHROMA_LOC_LEFT : AVCHROMA_LOC_UNSPECIFIED;
  return result;
}

}  // namespace cmhost
