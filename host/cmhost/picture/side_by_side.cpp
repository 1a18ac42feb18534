#include "host/cmhost/picture/side_by_side.h"

#include <cstdint>
#include <cstring>

namespace cmhost {

namespace {

void copyPlane(const AVFrame& from, int plane, PlaneSize size, std::uint8_t* to,
               std::size_t widthTo, int stride) {
  for (std::size_t y = 0; y < size.height; ++y, to += stride) {
    const std::uint8_t* const row =
        from.data[plane] + static_cast<std::ptrdiff_t>(y) * from.linesize[plane];
    std::memcpy(to, row, size.width);
    if (widthTo > size.width)
      std::memset(to + size.width, row[size.width - 1], widthTo - size.width);
  }
}

}  // namespace

int sideBySideWidth(int width) { return (width + 1) / 2 * 4; }

FramePtr sideBySide(const AVFrame& left, const AVFrame& right, const PictureLayout& layout) {
  FramePtr result = emptyFrameLike(right);
  result->width = sideBySideWidth(right.width);
  allocatePicture(*result);
  for (int plane = 0; plane < 3; ++plane) {
    const PlaneSize size = filePlane(layout, right.width, right.height, plane);
    const std::size_t half = filePlane(layout, result->width / 2, right.height, plane).width;
    std::uint8_t* const to = result->data[plane];
    const int stride = result->linesize[plane];
    copyPlane(left, plane, size, to, half, stride);
    copyPlane(right, plane, size, to + half, half, stride);
  }
  return result;
}

}  // namespace cmhost
