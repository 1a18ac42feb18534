#include "host/cmhost/picture/layout_converter.h"

namespace cmhost {

namespace {

AVPixelFormat targetFor(const AVFrame& like, const PictureLayout& layout, bool rgbToFullRange) {
  const bool toFullRange = rgbToFullRange && isRgb(static_cast<AVPixelFormat>(like.format));
  return toFullRange ? layout.fullRangePixelFormat : layout.pixelFormat;
}

}  // namespace

LayoutConverter::LayoutConverter(const AVFrame& like, const PictureLayout& layout,
                                 bool rgbToFullRange)
    : layout_(layout), format_(like, targetFor(like, layout, rgbToFullRange)) {}

FramePtr LayoutConverter::convert(const AVFrame& frame) {
  FramePtr result = format_.convert(frame);
  if (isRgb(static_cast<AVPixelFormat>(frame.format))) {
    result->colorspace = usualMatrix(frame.height);
    const bool isFull = result->format == layout_.fullRangePixelFormat;
    result->color_range = isFull ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
  } else if (isFullRange(frame)) {
    result->color_range = AVCOL_RANGE_JPEG;
  }
  if (frame.format != layout_.pixelFormat && frame.format != layout_.fullRangePixelFormat)
    result->chroma_location = layout_.shiftX != 0 ? AVCHROMA_LOC_LEFT : AVCHROMA_LOC_UNSPECIFIED;
  return result;
}

}  // namespace cmhost
