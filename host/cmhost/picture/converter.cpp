#include "host/cmhost/picture/converter.h"

namespace cmhost {

Converter::Converter(const AVFrame& like, const PictureLayout& layout)
    : layout_(layout), scaler_(like, layout.pixelFormat) {}

FramePtr Converter::convert(const AVFrame& frame) {
  FramePtr result = scaler_.convert(frame);
  if (isRgb(static_cast<AVPixelFormat>(frame.format))) {
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
