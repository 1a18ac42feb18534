#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "video/watermark/blend_blocks.h"

namespace ns_video_watermark {

/// How one plane of a composed overlay lies in a frame picture, in samples.
struct overlay_plane {
  const unsigned char* overlay;  ///< its samples, `rows` rows of `width`, without padding
  std::size_t width;
  std::size_t rows;
  std::size_t at;              ///< where its first sample lies in the frame picture
  std::size_t stride;          ///< from one of its rows to the next in the frame picture
  std::size_t alpha_step;      ///< alpha samples from one sample to the next: 1 or 2
  std::size_t alpha_row_step;  ///< alpha samples from one row to the next
};

/// What a frame must go through to carry one overlay at one place: stretches of the picture that
/// are blended, 16 samples at a time, and between them what is copied, across the ends of rows and
/// planes. Everything that depends on the overlay alone is worked out once.
///
/// Blocks with the same lines are kept once. The insides of letters, strokes that repeat from row
/// to row and a second chroma plane equal to the first then cost hardly any memory, and it is
/// memory that bounds the blend.
class overlay_plan {
 public:
  /// Plans `planes`, given in the order in which they lie in the picture, none overlapping another;
  /// all walk the one `alpha` plane from its start. Nothing is kept of the pointers. Throws
  /// `std::bad_alloc`.
  overlay_plan(const std::vector<overlay_plane>& planes, const unsigned char* alpha,
               std::size_t frame_size);

  /// Writes the frame with the overlay to `out`: frame_size bytes read and as many written; the
  /// two do not overlap.
  void blend(unsigned char* out, const unsigned char* frame) const;

 private:
  struct stretch {
    std::size_t at;      // its first sample in the picture
    std::size_t blocks;  // how many follow one another
  };

  std::size_t frame_size_;
  blend_blocks_function blend_blocks_ = fastest_blend_blocks();
  std::vector<stretch> stretches_;
  std::vector<std::uint32_t> numbers_;  // of every stretch's blocks in turn, into `blocks_`
  std::vector<blend_block> blocks_;

  friend class overlay_planner;
};

}  // namespace ns_video_watermark
