#pragma once

#include <deque>
#include <limits>

#include "video/watermark/overlay_plan.h"
#include "video/watermark/watermark.h"

namespace ns_video_watermark {

/// The compositor that `watermark::create` returns. Its members are public for tests; all other
/// code uses `watermark`.
///
/// Sizes and margins are unsigned 32-bit and wrap. Whether they are correct is checked separately,
/// with numbers that cannot wrap (`geometry_is_sound`), before any memory is accessed.
class watermark_impl : public watermark {
 public:
  watermark_impl() = default;
  watermark_impl(const watermark_impl&) = delete;
  watermark_impl& operator=(const watermark_impl&) = delete;
  ~watermark_impl() override;

  unsigned int configure(watermark_config* record, unsigned int& frame_bytes) override;
  unsigned int add_watermark_image(unsigned char* image, unsigned char* alpha) override;
  unsigned char* process(unsigned char* frame) override;

  /// Makes a new `opacity_table` from the record's opacity, which is not checked, and returns 256,
  /// the number of its entries. The previous table is not freed. Without a record, does nothing and
  /// returns 0. Throws `std::bad_alloc`.
  unsigned int generate_lookup_table();

  /// Replaces each of the overlay_width x overlay_height bytes at `alpha` by the entry of
  /// `opacity_table` that it indexes. The table must exist.
  void fade_alpha(unsigned char* alpha);

  watermark_config* config = nullptr;  ///< owned; replaced, not freed, by another `configure`

  /// The sequence of composed overlays, one owned array per image: alpha, luma, Cb, Cr, without
  /// padding.
  std::deque<unsigned char*> images;

  unsigned int config_error = 0;  ///< 1 if the overlay does not fit inside the frame
  unsigned int image_index = 0;   ///< index in `images` of the next image

  unsigned int luma_width = 0;
  unsigned int luma_height = 0;
  unsigned int chroma_width = 0;
  unsigned int chroma_height = 0;
  unsigned int overlay_width = 0;
  unsigned int overlay_height = 0;
  unsigned int overlay_chroma_width = 0;
  unsigned int overlay_chroma_height = 0;
  unsigned int overlay_x = 0;
  unsigned int overlay_y = 0;
  unsigned int overlay_chroma_x = 0;
  unsigned int overlay_chroma_y = 0;

  unsigned int luma_size = 0;
  unsigned int chroma_size = 0;
  unsigned int overlay_luma_size = 0;
  unsigned int overlay_chroma_size = 0;
  unsigned int frame_size = 0;           ///< bytes of one frame picture
  unsigned int overlay_buffer_size = 0;  ///< bytes of one composed overlay

  // Bytes above and below the overlay's rows in a plane, and right of it in each of its rows.
  unsigned int luma_above = 0;
  unsigned int chroma_above = 0;
  unsigned int luma_below = 0;
  unsigned int chroma_below = 0;
  unsigned int luma_right = 0;
  unsigned int chroma_right = 0;

  unsigned int alpha_step_x = 0;  ///< alpha samples from one chroma sample to the next
  unsigned int alpha_step_y = 0;  ///< alpha rows from one chroma row to the next

  unsigned char* opacity_table = nullptr;  ///< 256 entries, owned; null if the alpha is not changed

  /// Whether no size above has wrapped and the overlay is really inside the planes. Otherwise
  /// nothing is blended.
  bool geometry_is_sound = false;

  /// Bytes of the smallest overlay in `images`. Another `configure` does not change the images, so
  /// they may be too small for the new geometry.
  unsigned int smallest_image = std::numeric_limits<unsigned int>::max();

 private:
  void derive_planes();
  void derive_sizes();
  bool check_geometry() const;
  overlay_plan plan_of(const unsigned char* image) const;

  // Used by `process`: one plan for each of `images`, made when the image is added and again by
  // another `configure`. Empty if an image is too small.
  std::deque<overlay_plan> plans;
};

}  // namespace ns_video_watermark
