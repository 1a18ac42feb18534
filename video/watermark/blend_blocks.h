#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "video/watermark/blend_line.h"

namespace ns_video_watermark {

constexpr std::size_t block_samples = 16;

/// The blend lines of 16 adjacent samples, in the order that the vector units need.
struct alignas(64) blend_block {
  std::uint16_t slope[block_samples];
  std::uint16_t offset[block_samples];
};

/// Blends `count` consecutive blocks: samples 16 i to 16 i + 15 of `frame` are blended with the
/// lines of `blocks[numbers[i]]` and written to `out`. Reads and writes exactly 16 * `count` bytes,
/// at any alignment; `out` must not overlap the inputs.
using blend_blocks_function = void (*)(unsigned char* out, const unsigned char* frame,
                                       const blend_block* blocks, const std::uint32_t* numbers,
                                       std::size_t count);

struct blend_variant {
  const char* name;
  blend_blocks_function blend;  ///< null if this machine cannot run it
};

/// All variants, the portable one first, each faster than those before it. All give the same bytes.
std::array<blend_variant, 3> blend_variants();

/// The variant for images that are added from now on, for tests and benchmarks. Null, the default,
/// selects the fastest variant. Must not be set while another thread adds an image.
extern blend_blocks_function forced_blend_blocks;

/// The forced variant, or the fastest that this machine can run.
blend_blocks_function fastest_blend_blocks();

}  // namespace ns_video_watermark
