#pragma once

#include "video/watermark/blend_blocks.h"

namespace ns_video_watermark {

// One file per variant. A file compiled above the baseline defines only this function and uses no
// inline functions from other files.
void blend_blocks_portable(unsigned char* out, const unsigned char* frame,
                           const blend_block* blocks, const std::uint32_t* numbers,
                           std::size_t count);
void blend_blocks_sse2(unsigned char* out, const unsigned char* frame, const blend_block* blocks,
                       const std::uint32_t* numbers, std::size_t count);
void blend_blocks_avx2(unsigned char* out, const unsigned char* frame, const blend_block* blocks,
                       const std::uint32_t* numbers, std::size_t count);

}  // namespace ns_video_watermark
