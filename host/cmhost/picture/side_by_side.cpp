#include "host/cmhost/picture/side_by_side.h"

#include <cstdint>
#include <cstring>

namespace cmhost {

namespace {

void copyPlane(const AVFrame& from, int plane, int width, int height, std::uint8_t* to, int widthTo,
               int stride) {
  for (int y = 0; y < height; ++y, to += stride) {
    const std::uint8_t* const row =
        from.data[plane] + static_cast<std::ptrdiff_t>(y) * from.linesize[plane];
    std::memcpy(to, row, static_cast<std::size_t>(width));
    if (widthTo > width)
      std::memset(to + width, row[width - 1], static_cast<std::size_t>(widthTo - width));
  }
}

}  // namespace

int sideBySideWidth(int width) { return (width + 1) / 2 * 4; }

FramePtr sideBySide(const AVFrame& left, const AVFrame& right, const PictureLayout& layout) {
  FramePtr result = newFrame();
  if (av_frame_copy_props(result.get(), &right) < 0) throw std::bad_alloc();
  result->format = right.format;
  result->width = sideBySideWidth(right.width);
  result->height = right.height;
  if (av_frame_get_buffer(result.get(), 0) < 0) throw std::bad_alloc();
  for (int plane = 0; plane < 3; ++plane) {
    const int shiftX = plane > 0 ? layout.shiftX : 0;
    const int shiftY = plane > 0 ? layout.shiftY : 0;
    const int width = AV_CEIL_RSHIFT(right.width, shiftX);
    const int height = AV_CEIL_RSHIFT(right.height, shiftY);
    const int half = (result->width / 2) >> shiftX;
    std::uint8_t* const to = result->data[plane];
    const int stride = result->linesize[plane];
    copyPlane(left, plane, width, height, to, half, stride);
    copyPlane(right, plane, width, height, to + half, half, stride);
  }
  return result;
}

}  // namespace cmhost
