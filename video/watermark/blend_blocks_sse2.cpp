// `process` takes a third of the time of the portable loop at 1920 x 1080, half at 3840 x 2160.
#ifdef __x86_64__
#include <emmintrin.h>

#include "video/watermark/blend_variants.h"

namespace ns_video_watermark {
namespace {

__m128i load(const void* at) { return _mm_loadu_si128(static_cast<const __m128i*>(at)); }

// The frame samples are in the high bytes, so that the high half of the product is sample * slope
// >> 8.
__m128i follow(__m128i samples, const std::uint16_t* slope, const std::uint16_t* offset) {
  const __m128i risen = _mm_mulhi_epu16(samples, load(slope));
  return _mm_srli_epi16(_mm_add_epi16(risen, load(offset)), 8);
}

}  // namespace

void blend_blocks_sse2(unsigned char* out, const unsigned char* frame, const blend_block* blocks,
                       const std::uint32_t* numbers, std::size_t count) {
  const __m128i zero = _mm_setzero_si128();
  for (std::size_t i = 0; i < count; ++i) {
    const blend_block& block = blocks[numbers[i]];
    const __m128i samples = load(frame + i * block_samples);
    const __m128i low = follow(_mm_unpacklo_epi8(zero, samples), block.slope, block.offset);
    const __m128i high =
        follow(_mm_unpackhi_epi8(zero, samples), block.slope + 8, block.offset + 8);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i * block_samples),
                     _mm_packus_epi16(low, high));
  }
}

}  // namespace ns_video_watermark
#endif
