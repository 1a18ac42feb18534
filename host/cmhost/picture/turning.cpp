#include "host/cmhost/picture/turning.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace cmhost {

namespace {

struct Plane {
  const std::uint8_t* samples;
  std::ptrdiff_t stride;
  std::ptrdiff_t width;
  std::ptrdiff_t height;
};

void mirrorPlane(const Plane& from, const Orientation& orientation, std::uint8_t* to,
                 std::ptrdiff_t stride) {
  for (std::ptrdiff_t y = 0; y < from.height; ++y, to += stride) {
    const std::ptrdiff_t row = orientation.mirrorsY ? from.height - 1 - y : y;
    const std::uint8_t* const samples = from.samples + row * from.stride;
    if (orientation.mirrorsX)
      std::reverse_copy(samples, samples + from.width, to);
    else
      std::copy_n(samples, from.width, to);
  }
}

// In square tiles, so that the rows of both planes stay in the cache.
void transposePlane(const Plane& from, const Orientation& orientation, std::uint8_t* to,
                    std::ptrdiff_t stride) {
  constexpr std::ptrdiff_t tile = 32;
  for (std::ptrdiff_t top = 0; top < from.height; top += tile)
    for (std::ptrdiff_t left = 0; left < from.width; left += tile) {
      const std::ptrdiff_t bottom = std::min(top + tile, from.height);
      const std::ptrdiff_t right = std::min(left + tile, from.width);
      for (std::ptrdiff_t x = left; x < right; ++x) {
        std::uint8_t* const row = to + (orientation.mirrorsY ? from.width - 1 - x : x) * stride;
        const std::uint8_t* const column = from.samples + x;
        for (std::ptrdiff_t y = top; y < bottom; ++y)
          row[orientation.mirrorsX ? from.height - 1 - y : y] = column[y * from.stride];
      }
    }
}

// Chroma samples lie at one of three places on each axis; a mirrored place at the far end of a pair
// of luma columns has no name.
struct Siting {
  int x;  ///< 0: at the first column, 1: between the columns, 2: at the second one
  int y;
};

constexpr std::pair<AVChromaLocation, Siting> sitings[] = {
    {AVCHROMA_LOC_LEFT, {0, 1}}, {AVCHROMA_LOC_CENTER, {1, 1}},     {AVCHROMA_LOC_TOPLEFT, {0, 0}},
    {AVCHROMA_LOC_TOP, {1, 0}},  {AVCHROMA_LOC_BOTTOMLEFT, {0, 2}}, {AVCHROMA_LOC_BOTTOM, {1, 2}},
};

AVChromaLocation turnedLocation(AVChromaLocation location, const Orientation& orientation) {
  for (const auto& [from, siting] : sitings) {
    if (from != location) continue;
    Siting moved = siting;
    if (orientation.swapsAxes) std::swap(moved.x, moved.y);
    if (orientation.mirrorsX) moved.x = 2 - moved.x;
    if (orientation.mirrorsY) moved.y = 2 - moved.y;
    for (const auto& [to, each] : sitings)
      if (each.x == moved.x && each.y == moved.y) return to;
  }
  return AVCHROMA_LOC_UNSPECIFIED;
}

void turnProperties(const AVFrame& from, const PictureLayout& layout,
                    const Orientation& orientation, AVFrame& to) {
  av_frame_remove_side_data(&to, AV_FRAME_DATA_DISPLAYMATRIX);
  if (layout.shiftX != 0) to.chroma_location = turnedLocation(from.chroma_location, orientation);
  if (orientation.swapsAxes) {
    std::swap(to.width, to.height);
    if (to.sample_aspect_ratio.num > 0)
      std::swap(to.sample_aspect_ratio.num, to.sample_aspect_ratio.den);
    setInterlaced(to, false, false);
  } else if (isInterlacedFrame(from) && orientation.mirrorsY && from.height % 2 == 0) {
    setInterlaced(to, true, !isTopFieldFirst(from));  // the last row becomes the first
  }
}

}  // namespace

bool canTurn(const PictureLayout& layout, const Orientation& orientation) {
  return !orientation.swapsAxes || layout.shiftX == layout.shiftY;
}

FramePtr turned(const AVFrame& frame, const PictureLayout& layout, const Orientation& orientation) {
  FramePtr result = emptyFrameLike(frame);
  turnProperties(frame, layout, orientation, *result);
  allocatePicture(*result);
  for (int plane = 0; plane < 3; ++plane) {
    const PlaneSize size = filePlane(layout, frame.width, frame.height, plane);
    const Plane from = {frame.data[plane], frame.linesize[plane],
                        static_cast<std::ptrdiff_t>(size.width),
                        static_cast<std::ptrdiff_t>(size.height)};
    (orientation.swapsAxes ? transposePlane : mirrorPlane)(from, orientation, result->data[plane],
                                                           result->linesize[plane]);
  }
  return result;
}

}  // namespace cmhost
