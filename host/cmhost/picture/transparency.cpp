#include "host/cmhost/picture/transparency.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <cstdint>
#include <vector>

namespace cmhost {

namespace {

bool hasTransparentColour(const AVFrame& frame, int y) {
  const auto* const palette = reinterpret_cast<const std::uint32_t*>(frame.data[1]);
  const std::uint8_t* const row =
      frame.data[0] + static_cast<std::ptrdiff_t>(y) * frame.linesize[0];
  return std::any_of(row, row + frame.width,
                     [palette](std::uint8_t colour) { return palette[colour] >> 24 != 0xFF; });
}

}  // namespace

bool isTransparent(const AVFrame& frame) {
  const AVPixFmtDescriptor& format = *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  if ((format.flags & AV_PIX_FMT_FLAG_PAL) != 0) {
    for (int y = 0; y < frame.height; ++y)
      if (hasTransparentColour(frame, y)) return true;
    return false;
  }
  if ((format.flags & AV_PIX_FMT_FLAG_ALPHA) == 0) return false;
  if ((format.flags & AV_PIX_FMT_FLAG_FLOAT) != 0) return true;
  const int alpha = format.nb_components - 1;
  const auto opaque = static_cast<std::uint16_t>((1U << format.comp[alpha].depth) - 1);
  const std::uint8_t* const planes[] = {frame.data[0], frame.data[1], frame.data[2], frame.data[3]};
  std::vector<std::uint16_t> row(static_cast<std::size_t>(frame.width), opaque);
  for (int y = 0; y < frame.height; ++y) {
    av_read_image_line2(row.data(), const_cast<const std::uint8_t**>(planes), frame.linesize,
                        &format, 0, y, alpha, frame.width, 0, sizeof row[0]);
    if (std::any_of(row.begin(), row.end(), [opaque](auto value) { return value != opaque; }))
      return true;
  }
  return false;
}

}  // namespace cmhost
