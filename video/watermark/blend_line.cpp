#include "video/watermark/blend_line.h"

#include "video/watermark/blend_sample.h"

namespace ns_video_watermark {

// At a given slope every frame sample requires a range of offsets. If the ranges have no common
// offset, the slope changes by one unit towards the sample that requires a higher line. All 65,536
// lines are found within a few dozen steps, most without any.
blend_line line_of(unsigned char overlay, unsigned char alpha) {
  int wanted[256];
  for (int frame = 0; frame < 256; ++frame) {
    wanted[frame] = 256 * blend_sample(static_cast<unsigned char>(frame), overlay, alpha);
  }

  int slope = 257 * (255 - alpha);
  for (;;) {
    int lowest = 0;
    int lowest_at = 0;
    int highest = 65535;
    int highest_at = 0;
    for (int frame = 0; frame < 256; ++frame) {
      const int offset = wanted[frame] - (frame * slope >> 8);
      if (offset > lowest) {
        lowest = offset;
        lowest_at = frame;
      }
      if (offset + 255 < highest) {
        highest = offset + 255;
        highest_at = frame;
      }
    }
    if (lowest <= highest) {
      return {static_cast<std::uint16_t>(slope), static_cast<std::uint16_t>(highest)};
    }
    slope += lowest_at > highest_at ? 1 : -1;
  }
}

}  // namespace ns_video_watermark
