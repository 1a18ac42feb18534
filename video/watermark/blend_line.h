#pragma once

#include <cstdint>

namespace ns_video_watermark {

/// What one overlay sample at one alpha does to every frame sample: a straight line in 8.8 fixed
/// point, whose whole part is the blended sample.
struct blend_line {
  std::uint16_t slope;   ///< in units of 1/65536
  std::uint16_t offset;  ///< in units of 1/256

  /// The sample of the frame moved along the line. No step leaves 16 bits.
  unsigned char operator()(unsigned char frame) const {
    return static_cast<unsigned char>(((frame * slope >> 8) + offset) >> 8);
  }
};

/// The line that gives what `blend_sample` gives, for each of the 256 frame samples. There is one
/// for every overlay sample and alpha, though not always the one that exact fractions suggest: the
/// definition truncates after its own roundings, and a slope a few units off follows them.
blend_line line_of(unsigned char overlay, unsigned char alpha);

}  // namespace ns_video_watermark
