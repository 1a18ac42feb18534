#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "component/filter/video/static_watermark/artwork.h"
#include "video/resize/qor_resize.h"
#include "video/watermark/watermark.h"

/// The expected result of the module, computed with the engines.
namespace reference_mark {

using bytes = std::vector<unsigned char>;

struct placement {
  std::int64_t width, height;  // of the scaled artwork
  std::int64_t x, y;
};

/// In integers. Up to 20000, nine tenths of a width and 186 / 800 of a height are either integers
/// or so far from the next integer that floating point cannot round them across it.
inline placement place(std::int64_t frame_width, std::int64_t frame_height) {
  placement p = {};
  p.width = frame_width * 9 / 10;
  p.height = p.width * 186 / 800;
  p.x = (frame_width - p.width) / 2;  // both truncated toward zero
  p.y = (frame_height - p.height) / 2;
  return p;
}

inline bytes scale(ns_video_resize::qor_resize::colorspace space, const placement& p,
                   const unsigned char* artwork, std::size_t size, int interpolation) {
  const std::unique_ptr<ns_video_resize::qor_resize, void (*)(ns_video_resize::qor_resize*)>
      resizer(ns_video_resize::qor_resize::create(space), ns_video_resize::qor_resize::destroy);
  const auto width = static_cast<int>(p.width);
  const auto height = static_cast<int>(p.height);
  resizer->init(width, height, 800, 186, space, 0, 0, 0, 0, 1, static_cast<float>(width),
                static_cast<float>(height), 0, 0, 0.0f, interpolation, 0, 0);
  bytes in(artwork, artwork + size);
  bytes out(static_cast<std::size_t>(resizer->get_output_size()) + 1);
  unsigned int out_size = 0;
  resizer->process(static_cast<unsigned int>(size), in.data(), out_size, out.data());
  return out;
}

inline unsigned int shift_x(unsigned int format) { return format == 2 ? 0 : 1; }
inline unsigned int shift_y(unsigned int format) { return format == 0 ? 1 : 0; }

inline std::size_t frame_bytes(std::size_t width, std::size_t height, unsigned int format) {
  return width * height + 2 * ((width >> shift_x(format)) * (height >> shift_y(format)));
}

/// The frame with the artwork blended in; the artwork has no colour.
inline bytes marked(bytes frame, unsigned int frame_width, unsigned int frame_height,
                    unsigned int format) {
  using ns_static_watermark::watermark_alpha;
  using ns_static_watermark::watermark_picture;
  using ns_video_resize::qor_resize;
  using ns_video_watermark::watermark;

  const placement p = place(frame_width, frame_height);
  bytes picture = scale(qor_resize::yuv422, p, watermark_picture, sizeof watermark_picture, 3);
  picture.resize(static_cast<std::size_t>(p.width * p.height));
  picture.resize(3 * picture.size() + 1, 128);

  bytes alpha_frame(watermark_alpha, watermark_alpha + sizeof watermark_alpha);
  alpha_frame.resize(2 * sizeof watermark_alpha, 0);
  alpha_frame.resize(3 * sizeof watermark_alpha, 128);
  bytes alpha = scale(qor_resize::ayuv422, p, alpha_frame.data(), alpha_frame.size(), 1);

  const std::unique_ptr<watermark, void (*)(watermark*)> compositor(watermark::create(),
                                                                    watermark::destroy);
  unsigned int frame_size = 0;
  compositor->configure(
      new ns_video_watermark::watermark_config{
          frame_width, frame_height, static_cast<unsigned int>(p.width),
          static_cast<unsigned int>(p.height), static_cast<unsigned int>(p.x),
          static_cast<unsigned int>(p.y), 100, format, 1},
      frame_size);
  compositor->add_watermark_image(picture.data(), alpha.data());
  frame.reserve(1);
  const std::unique_ptr<unsigned char[]> out(compositor->process(frame.data()));
  if (out == nullptr) return {};
  return bytes(out.get(), out.get() + frame.size());
}

}  // namespace reference_mark
