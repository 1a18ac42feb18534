#include "host/cmhost/output/md5.h"

extern "C" {
#include <libavutil/md5.h>
#include <libavutil/mem.h>
#include <libavutil/pixdesc.h>
}

#include <algorithm>

namespace cmhost {

Md5::Md5() : state_(av_md5_alloc(), [](AVMD5* state) { av_free(state); }) {
  if (state_ == nullptr) throw std::bad_alloc();
  av_md5_init(state_.get());
}

Md5::~Md5() = default;

void Md5::add(const std::uint8_t* bytes, std::size_t count) {
  av_md5_update(state_.get(), bytes, count);
}

void Md5::add(const AVFrame& frame) {
  const AVPixFmtDescriptor& format = *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  for (int plane = 0; plane < av_pix_fmt_count_planes(static_cast<AVPixelFormat>(frame.format));
       ++plane) {
    const bool isChroma = plane == 1 || plane == 2;
    const int width = isChroma ? AV_CEIL_RSHIFT(frame.width, format.log2_chroma_w) : frame.width;
    const int height = isChroma ? AV_CEIL_RSHIFT(frame.height, format.log2_chroma_h) : frame.height;
    for (int y = 0; y < height; ++y)
      add(frame.data[plane] + static_cast<std::ptrdiff_t>(y) * frame.linesize[plane],
          static_cast<std::size_t>(width));
  }
}

std::string Md5::text() {
  std::uint8_t digest[16];
  av_md5_final(state_.get(), digest);
  static constexpr char digits[] = "0123456789abcdef";
  std::string text;
  for (const std::uint8_t byte : digest) {
    text += digits[byte >> 4];
    text += digits[byte & 15];
  }
  return text;
}

}  // namespace cmhost
