#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "host/cmhost/support/av.h"

namespace cmhost {

/// Where players move each pixel of a frame, as FFmpeg's `libavutil/display.h` defines it.
using DisplayMatrix = std::array<std::int32_t, 9>;

/// The display matrix of the frame or, if it has none, that of its stream.
std::optional<DisplayMatrix> displayMatrixOf(const AVStream& stream, const AVFrame& frame);

/// The clockwise rotation of a display matrix in degrees, from -180 to 180.
long rotationOf(const DisplayMatrix& matrix);

/// One of the eight orientations of a picture: rows and columns are exchanged first, then the
/// result is mirrored.
struct Orientation {
  bool swapsAxes = false;  ///< the pixel at (x, y) moves to (y, x)
  bool mirrorsX = false;   ///< left and right are exchanged
  bool mirrorsY = false;   ///< top and bottom are exchanged

  bool isUpright() const { return !swapsAxes && !mirrorsX && !mirrorsY; }
};

/// The orientation that a display matrix stands for; nothing if it turns a frame by anything other
/// than quarter turns. Scale and position are ignored.
std::optional<Orientation> orientationOf(const DisplayMatrix& matrix);

}  // namespace cmhost
