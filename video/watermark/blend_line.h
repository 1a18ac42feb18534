#pragma once

#include <cstdint>

namespace ns_video_watermark {

/// Maps every frame sample to the blended sample, for one overlay sample at one alpha: a straight
/// line in 8.8 fixed point, whose integer part is the blended sample.
struct blend_line {
  std::uint16_t slope;   ///< in units of 1/65536
  std::uint16_t offset;  ///< in units of 1/256

  /// The blended sample for a sample of the frame. No intermediate result exceeds 16 bits.
  unsigned char operator()(unsigned char frame) const {
    return static_cast<unsigned char>(((frame * slope >> 8) + offset) >> 8);
  }
};

/// The line that gives the same results as `blend_sample` for each of the 256 frame samples. Such a
/// line exists for every overlay sample and alpha. It is not always the one that exact fractions
/// give: the definition truncates after its own roundings, and a slope that differs by a few units
/// reproduces them.
blend_line line_of(unsigned char overlay, unsigned char alpha);

}  // namespace ns_video_watermark
