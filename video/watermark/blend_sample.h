#pragma once

namespace ns_video_watermark {

/// Blends one sample of the overlay over one sample of the frame. `alpha` 255 gives exactly
/// `overlay`, 0 gives exactly `frame`.
///
/// This is the definition of the blend, and its precision is part of it: the overlay's share is
/// computed in single precision, the frame's share and the sum in double precision, and the sum is
/// truncated, never rounded. For example, 95 over 95 at alpha 102 gives 94.
inline unsigned char blend_sample(unsigned char frame, unsigned char overlay, unsigned char alpha) {
  const float share = static_cast<float>(alpha) / 255.0f;
  const float from_overlay = static_cast<float>(overlay) * share;
  const double from_frame = static_cast<double>(frame) * (1.0 - static_cast<double>(share));
  return static_cast<unsigned char>(static_cast<double>(from_overlay) + from_frame);
}

}  // namespace ns_video_watermark
