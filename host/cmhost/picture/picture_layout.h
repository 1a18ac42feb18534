#pragma once

extern "C" {
#include <libavutil/pixfmt.h>
}

#include <cstddef>
#include <cstdint>
#include <string>

namespace cmhost {

/// A frame layout that modules support: three planes, 8 bits per sample.
struct PictureLayout {
  unsigned int fourcc;
  AVPixelFormat pixelFormat;
  AVPixelFormat fullRangePixelFormat;  ///< the deprecated full-range variant (YUVJ)
  int shiftX;                          ///< chroma width is the luma width shifted right by this
  int shiftY;
};

struct PlaneSize {
  std::size_t width;
  std::size_t height;
};

/// Size of a plane of a `width` x `height` frame in a module: chroma sizes are rounded down.
PlaneSize modulePlane(const PictureLayout& layout, int width, int height, int plane);

/// The same in files and in the media library: chroma sizes are rounded up.
PlaneSize filePlane(const PictureLayout& layout, int width, int height, int plane);

/// The FourCC of four characters, the first one in the most significant byte.
constexpr unsigned int fourccOf(const char* text) {
  unsigned int code = 0;
  for (int i = 0; i < 4; ++i) code = code << 8 | static_cast<unsigned char>(text[i]);
  return code;
}

/// The four characters of a FourCC.
std::string fourccText(unsigned int fourcc);

/// The layout of a pixel format of either range; null when modules do not support it.
const PictureLayout* layoutOf(AVPixelFormat format);

/// The layout with this FourCC; null when modules do not support it.
const PictureLayout* layoutOfFourcc(unsigned int fourcc);

/// The layout to convert a pixel format to.
const PictureLayout& closestLayout(AVPixelFormat format);

}  // namespace cmhost
