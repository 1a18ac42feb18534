#include "video/watermark/blend_row.h"

namespace ns_video_watermark {

void blend_row(unsigned char* out, const unsigned char* frame, const unsigned char* overlay,
               const unsigned char* alpha, std::size_t alpha_step, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    out[i] = blend_sample(frame[i], overlay[i], alpha[i * alpha_step]);
  }
}

}  // namespace ns_video_watermark
