#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "video/watermark/blend_blocks.h"

namespace ns_video_watermark {

/// The position of one plane of a composed overlay in a frame picture, in samples.
struct overlay_plane {
  const unsigned char* overlay;  ///< its samples, `rows` rows of `width`, without padding
  std::size_t width;
  std::size_t rows;
  std::size_t at;              ///< offset of its first sample in the frame picture
  std::size_t stride;          ///< from one of its rows to the next in the frame picture
  std::size_t alpha_step;      ///< alpha samples from one sample to the next: 1 or 2
  std::size_t alpha_row_step;  ///< alpha samples from one row to the next
};

/// A plan to blend one overlay into frames at one position. It consists of stretches of the picture
/// that are blended, 16 samples at a time; the parts between them are copied, across the ends of
/// rows and planes. Everything that depends on the overlay alone is computed once.
///
/// Blocks with the same blend lines are stored once. The insides of letters, strokes that repeat
/// from row to row and a second chroma plane that equals the first then need little memory, and
/// memory limits the speed of the blend.
class overlay_plan {
 public:
  /// Makes the plan for `planes`, in the order of their positions in the picture; they must not
  /// overlap. All planes read the one `alpha` plane from its start. The pointers are not kept.
  /// Throws `std::bad_alloc`.
  overlay_plan(const std::vector<overlay_plane>& planes, const unsigned char* alpha,
               std::size_t frame_size);

  /// Writes the frame with the overlay to `out`. Reads and writes frame_size bytes; the two must
  /// not overlap.
  void blend(unsigned char* out, const unsigned char* frame) const;

 private:
  struct stretch {
    std::size_t at;      // offset of its first sample in the picture
    std::size_t blocks;  // number of blocks in a row
  };

  std::size_t frame_size_;
  blend_blocks_function blend_blocks_ = fastest_blend_blocks();
  std::vector<stretch> stretches_;
  std::vector<std::uint32_t> numbers_;  // of all stretches' blocks, in order: indices in `blocks_`
  std::vector<blend_block> blocks_;

  friend class overlay_planner;
};

}  // namespace ns_video_watermark
