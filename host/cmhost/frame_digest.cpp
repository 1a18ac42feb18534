#include "host/cmhost/frame_digest.h"

extern "C" {
#include <libavutil/mem.h>
#include <libavutil/pixdesc.h>
}

#include <cstdio>

namespace cmhost {

FrameDigests::Md5::Md5() : state_(av_md5_alloc(), &av_free) {
  if (state_ == nullptr) throw std::bad_alloc();
  av_md5_init(state_.get());
}

void FrameDigests::Md5::add(const std::uint8_t* bytes, std::size_t count) {
  av_md5_update(state_.get(), bytes, count);
}

std::string FrameDigests::Md5::end() {
  std::uint8_t digest[16];
  av_md5_final(state_.get(), digest);
  std::string text;
  for (const std::uint8_t byte : digest) {
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02x", byte);
    text += digits;
  }
  return text;
}

void FrameDigests::add(const AVFrame& frame, AVRational timeBase) {
  const auto format = static_cast<AVPixelFormat>(frame.format);
  const AVPixFmtDescriptor& descriptor = *av_pix_fmt_desc_get(format);
  Md5 digest;
  for (int plane = 0; plane < 3; ++plane) {
    const int width = AV_CEIL_RSHIFT(frame.width, plane > 0 ? descriptor.log2_chroma_w : 0);
    const int height = AV_CEIL_RSHIFT(frame.height, plane > 0 ? descriptor.log2_chroma_h : 0);
    for (int y = 0; y < height; ++y) {
      const std::uint8_t* const row =
          frame.data[plane] + static_cast<std::ptrdiff_t>(y) * frame.linesize[plane];
      digest.add(row, static_cast<std::size_t>(width));
      run_.add(row, static_cast<std::size_t>(width));
    }
  }
  if (frames_ == 0) {
    picture_ = std::to_string(frame.width) + "x" + std::to_string(frame.height) + " " +
               av_get_pix_fmt_name(format);
    print("# MD5 of each frame's planes\n# frame seconds size format md5\n");
  }
  char time[64];
  std::snprintf(time, sizeof time, "%.6f", static_cast<double>(frame.pts) * av_q2d(timeBase));
  print(std::to_string(frames_) + " " + time + " " + picture_ + " " + digest.end() + "\n");
  ++frames_;
  file_.check();
}

void FrameDigests::finish() {
  print("# MD5 of all frames' planes in a row\n# all frames size format md5\n");
  print("all " + std::to_string(frames_) + " " + picture_ + " " + run_.end() + "\n");
  file_.finish();
}

void FrameDigests::print(const std::string& line) {
  avio_write(file_.io(), reinterpret_cast<const unsigned char*>(line.data()),
             static_cast<int>(line.size()));
}

}  // namespace cmhost
