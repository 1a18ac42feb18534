#pragma once

#include <cstddef>
#include <vector>

#include "tests/video/watermark/exact_blend.h"
#include "video/watermark/watermark.h"

/// A reference implementation of the compositor, pixel by pixel.
namespace watermark_test {

using bytes = std::vector<unsigned char>;
using ns_video_watermark::watermark_config;

// The subsampling of each format, as powers of two.
inline unsigned int shift_x(const watermark_config& c) { return c.format == 2 ? 0 : 1; }
inline unsigned int shift_y(const watermark_config& c) { return c.format == 0 ? 1 : 0; }

inline std::size_t picture_size(std::size_t width, std::size_t height, const watermark_config& c) {
  return width * height + 2 * ((width >> shift_x(c)) * (height >> shift_y(c)));
}

inline std::size_t frame_bytes(const watermark_config& c) {
  return picture_size(c.frame_width, c.frame_height, c);
}

inline std::size_t image_bytes(const watermark_config& c) {
  return picture_size(c.width, c.height, c);
}

inline std::size_t alpha_bytes(const watermark_config& c) {
  return std::size_t{c.width} * c.height;
}

/// The frame with the image blended in with `alpha`, to which the opacity is already applied. For
/// each pixel it computes its position, whether the overlay covers it, and its alpha.
inline bytes reference(const watermark_config& c, const bytes& frame, const bytes& image,
                       const bytes& alpha) {
  std::vector<exact_blend> blends;
  for (unsigned int a = 0; a < 256; ++a) blends.emplace_back(a);

  bytes out;
  std::size_t frame_at = 0;
  std::size_t image_at = 0;
  for (int plane = 0; plane < 3; ++plane) {
    const unsigned int sx = plane == 0 ? 0 : shift_x(c);
    const unsigned int sy = plane == 0 ? 0 : shift_y(c);
    const std::size_t width = c.frame_width >> sx;
    const std::size_t height = width == 0 ? 0 : c.frame_height >> sy;  // skips empty rows
    const std::size_t overlay_width = c.width >> sx;
    const std::size_t overlay_height = c.height >> sy;
    const std::size_t left = c.x >> sx;
    const std::size_t top = c.y >> sy;
    // From one row of the plane to the next, the alpha advances by the steps of its samples, and by
    // one more alpha row if rows are halved.
    const std::size_t alpha_row = (overlay_width << sx) + (sy == 1 ? c.width : 0);
    for (std::size_t y = 0; y < height; ++y) {
      for (std::size_t x = 0; x < width; ++x) {
        const unsigned char sample = frame[frame_at + y * width + x];
        if (x < left || x >= left + overlay_width || y < top || y >= top + overlay_height) {
          out.push_back(sample);
          continue;
        }
        const std::size_t column = x - left;
        const std::size_t row = y - top;
        const unsigned char over = image[image_at + row * overlay_width + column];
        const unsigned char a = alpha[row * alpha_row + (column << sx)];
        out.push_back(static_cast<unsigned char>(blends[a](sample, over)));
      }
    }
    frame_at += width * height;
    image_at += overlay_width * overlay_height;
  }
  return out;
}

}  // namespace watermark_test
