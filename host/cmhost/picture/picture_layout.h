#pragma once

extern "C" {
#include <libavutil/pixfmt.h>
}

#include <cstddef>
#include <string>

namespace cmhost {

/// A frame layout that modules take: three planes, 8 bits a sample.
struct PictureLayout {
  unsigned int fourcc;
  AVPixelFormat pixelFormat;
  AVPixelFormat fullRangePixelFormat;  ///< its twin of old that says full range by its name
  int shiftX;                          ///< chroma width is the luma width shifted right by this
  int shiftY;
};

struct PlaneSize {
  std::size_t width;
  std::size_t height;
};

/// Size of a plane of a picture of `width` x `height` as a module sees it: chroma sizes are rounded
/// down.
PlaneSize modulePlane(const PictureLayout& layout, int width, int height, int plane);

/// The same as files and the media library have it: chroma sizes are rounded up.
PlaneSize filePlane(const PictureLayout& layout, int width, int height, int plane);

/// The code of four characters, the first in the most significant byte.
constexpr unsigned int fourccOf(const char* text) {
  unsigned int code = 0;
  for (int i = 0; i < 4; ++i) code = code << 8 | static_cast<unsigned char>(text[i]);
  return code;
}

/// The four characters of a code.
std::string fourccText(unsigned int fourcc);

/// The layout of a pixel format of either range; none when modules do not take it.
const PictureLayout* layoutOf(AVPixelFormat format);

/// The layout with this FourCC; none when modules do not take it.
const PictureLayout* layoutOfFourcc(unsigned int fourcc);

/// The layout closest to a pixel format, to convert to.
const PictureLayout& closestLayout(AVPixelFormat format);

}  // namespace cmhost
