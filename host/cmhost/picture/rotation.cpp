#include "host/cmhost/picture/rotation.h"

extern "C" {
#include <libavutil/display.h>
}

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace cmhost {

long rotationOf(const AVStream& stream) {
  const StreamSideData all = sideDataOf(stream);
  const AVPacketSideData* const end = all.data + all.count;
  const AVPacketSideData* const matrix = std::find_if(
      all.data, end,
      [](const AVPacketSideData& each) { return each.type == AV_PKT_DATA_DISPLAYMATRIX; });
  if (matrix == end) return 0;
  const double degrees =
      -av_display_rotation_get(reinterpret_cast<const std::int32_t*>(matrix->data));
  return std::isnan(degrees) ? 0 : std::lround(degrees);
}

}  // namespace cmhost
