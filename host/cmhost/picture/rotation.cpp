#include "host/cmhost/picture/rotation.h"

extern "C" {
#include <libavutil/display.h>
}

#include <algorithm>
#include <cmath>
#include <cstring>

namespace cmhost {

namespace {

std::optional<DisplayMatrix> matrixFrom(const std::uint8_t* data, std::size_t size) {
  DisplayMatrix matrix;
  if (size < sizeof matrix) return std::nullopt;
  std::memcpy(matrix.data(), data, sizeof matrix);
  return matrix;
}

// Whether a vector that should lie on an axis does so, within half a degree.
bool isAlong(double onAxis, double across) {
  constexpr double tangent = 0.0087;
  return onAxis != 0 && std::abs(across) <= tangent * std::abs(onAxis);
}

}  // namespace

std::optional<DisplayMatrix> displayMatrixOf(const AVStream& stream, const AVFrame& frame) {
  if (const AVFrameSideData* const own =
          av_frame_get_side_data(&frame, AV_FRAME_DATA_DISPLAYMATRIX))
    return matrixFrom(own->data, own->size);
  const StreamSideData all = sideDataOf(stream);
  const AVPacketSideData* const end = all.data + all.count;
  const AVPacketSideData* const found = std::find_if(
      all.data, end,
      [](const AVPacketSideData& each) { return each.type == AV_PKT_DATA_DISPLAYMATRIX; });
  return found != end ? matrixFrom(found->data, found->size) : std::nullopt;
}

long rotationOf(const DisplayMatrix& matrix) {
  const double degrees = -av_display_rotation_get(matrix.data());
  return std::isnan(degrees) ? 0 : std::lround(degrees);
}

std::optional<Orientation> orientationOf(const DisplayMatrix& matrix) {
  // The x axis of the frame goes to (xToX, xToY), its y axis to (yToX, yToY).
  const double xToX = matrix[0];
  const double xToY = matrix[1];
  const double yToX = matrix[3];
  const double yToY = matrix[4];
  if (isAlong(xToX, xToY) && isAlong(yToY, yToX)) return Orientation{false, xToX < 0, yToY < 0};
  if (isAlong(xToY, xToX) && isAlong(yToX, yToY)) return Orientation{true, yToX < 0, xToY < 0};
  return std::nullopt;
}

}  // namespace cmhost
