#include "host/cmhost/picture/picture_layout.h"

extern "C" {
#include <libavutil/common.h>
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <iterator>

namespace cmhost {

namespace {

constexpr PictureLayout layouts[] = {
    {fourccOf("IYUV"), AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUVJ420P, 1, 1},
    {fourccOf("Y22P"), AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUVJ422P, 1, 0},
    {fourccOf("Y44P"), AV_PIX_FMT_YUV444P, AV_PIX_FMT_YUVJ444P, 0, 0},
};

template <typename Predicate>
const PictureLayout* find(Predicate matches) {
  const auto* const found = std::find_if(std::begin(layouts), std::end(layouts), matches);
  return found != std::end(layouts) ? found : nullptr;
}

}  // namespace

PlaneSize modulePlane(const PictureLayout& layout, int width, int height, int plane) {
  const int shiftX = plane > 0 ? layout.shiftX : 0;
  const int shiftY = plane > 0 ? layout.shiftY : 0;
  return {static_cast<std::size_t>(width >> shiftX), static_cast<std::size_t>(height >> shiftY)};
}

PlaneSize filePlane(const PictureLayout& layout, int width, int height, int plane) {
  const int shiftX = plane > 0 ? layout.shiftX : 0;
  const int shiftY = plane > 0 ? layout.shiftY : 0;
  return {static_cast<std::size_t>(AV_CEIL_RSHIFT(width, shiftX)),
          static_cast<std::size_t>(AV_CEIL_RSHIFT(height, shiftY))};
}

std::string fourccText(unsigned int fourcc) {
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8) text += static_cast<char>(fourcc >> shift & 0xFF);
  return text;
}

const PictureLayout* layoutOf(AVPixelFormat format) {
  return find([format](const PictureLayout& layout) {
    return layout.pixelFormat == format || layout.fullRangePixelFormat == format;
  });
}

const PictureLayout* layoutOfFourcc(unsigned int fourcc) {
  return find([fourcc](const PictureLayout& layout) { return layout.fourcc == fourcc; });
}

const PictureLayout& closestLayout(AVPixelFormat format) {
  const AVPixFmtDescriptor* const descriptor = av_pix_fmt_desc_get(format);
  if (descriptor == nullptr) return layouts[0];
  const bool palette = (descriptor->flags & AV_PIX_FMT_FLAG_PAL) != 0;
  const bool grey = descriptor->nb_components < 3 && !palette;
  if (grey) return layouts[0];
  if (descriptor->log2_chroma_w == 0) return layouts[2];
  return descriptor->log2_chroma_h == 0 ? layouts[1] : layouts[0];
}

}  // namespace cmhost
