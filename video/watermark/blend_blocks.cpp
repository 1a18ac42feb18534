#include "video/watermark/blend_blocks.h"

#include "video/watermark/blend_variants.h"

namespace ns_video_watermark {

void blend_blocks_portable(unsigned char* out, const unsigned char* frame,
                           const blend_block* blocks, const std::uint32_t* numbers,
                           std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    const blend_block& block = blocks[numbers[i]];
    for (std::size_t j = 0; j < block_samples; ++j) {
      const blend_line line = {block.slope[j], block.offset[j]};
      out[i * block_samples + j] = line(frame[i * block_samples + j]);
    }
  }
}

#ifdef __x86_64__
namespace {

// All extensions that -mavx2 allows the compiler to use: a hypervisor may hide any of them.
bool runs_avx2() {
  return __builtin_cpu_supports("sse3") && __builtin_cpu_supports("ssse3") &&
         __builtin_cpu_supports("sse4.1") && __builtin_cpu_supports("sse4.2") &&
         __builtin_cpu_supports("popcnt") && __builtin_cpu_supports("avx") &&
         __builtin_cpu_supports("avx2");
}

}  // namespace
#endif

blend_blocks_function forced_blend_blocks = nullptr;

std::array<blend_variant, 3> blend_variants() {
  std::array<blend_variant, 3> variants = {
      {{"portable", blend_blocks_portable}, {"SSE2", nullptr}, {"AVX2", nullptr}}};
#ifdef __x86_64__
  variants[1].blend = blend_blocks_sse2;
  if (runs_avx2()) variants[2].blend = blend_blocks_avx2;
#endif
  return variants;
}

blend_blocks_function fastest_blend_blocks() {
  if (forced_blend_blocks != nullptr) return forced_blend_blocks;
  blend_blocks_function fastest = nullptr;
  for (const blend_variant& variant : blend_variants()) {
    if (variant.blend != nullptr) fastest = variant.blend;
  }
  return fastest;
}

}  // namespace ns_video_watermark
