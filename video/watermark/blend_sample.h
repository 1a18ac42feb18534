#pragma once

namespace ns_video_watermark {

/// One sample of the frame with one sample of the overlay over it. `alpha` 255 gives `overlay`
/// exactly, 0 gives `frame` exactly.
///
/// This is the definition of the blend, and its precision is part of it: the overlay's share is
/// formed in single precision, the frame's share and the sum in double precision, and the sum is
/// truncated, never rounded. So 95 over 95 at alpha 102 is 94.
inline unsigned char blend_sample(unsigned char frame, unsigned char overlay, unsigned char alpha) {
  const float share = static_cast<float>(alpha) / 255.0f;
  const float from_overlay = static_cast<float>(overlay) * share;
  const double from_frame = static_cast<double>(frame) * (1.0 - static_cast<double>(share));
  return static_cast<unsigned char>(static_cast<double>(from_overlay) + from_frame);
}

}  // namespace ns_video_watermark
