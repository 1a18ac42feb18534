#include "video/watermark/watermark_impl.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>

namespace ns_video_watermark {
namespace {

constexpr unsigned int opacity_table_entries = 256;

unsigned char* make_opacity_table(unsigned int opacity) {
  auto* const table = new unsigned char[opacity_table_entries];
  const float factor = static_cast<float>(opacity) / 100.0f;
  for (unsigned int i = 0; i < opacity_table_entries; ++i) {
    const float value = static_cast<float>(i) * factor;
    table[i] = value > 255.0f ? 255 : static_cast<unsigned char>(value);
  }
  return table;
}

void fade(unsigned char* alpha, std::size_t count, const unsigned char* table) {
  for (std::size_t i = 0; i < count; ++i) alpha[i] = table[alpha[i]];
}

// Whether the bytes of one luma plane and two chroma planes fit in 32 bits.
bool countable(std::uint64_t luma, std::uint64_t chroma) {
  constexpr std::uint64_t limit = std::numeric_limits<std::uint32_t>::max();
  return luma <= limit && chroma <= limit && luma + 2 * chroma <= limit;
}

}  // namespace

watermark* watermark::create() { return new watermark_impl(); }

void watermark::destroy(watermark* object) { delete object; }

watermark_impl::~watermark_impl() {
  delete config;
  for (const unsigned char* const image : images) delete[] image;
  delete[] opacity_table;
}

unsigned int watermark_impl::configure(watermark_config* record, unsigned int& frame_bytes) {
  if (record == nullptr) {
    config_error = 1;
    frame_bytes = 0;
    return config_error;
  }
  config_error = 0;
  geometry_is_sound = false;  // until the end: an allocation may fail
  plans.clear();
  if (record->x + record->width > record->frame_width) config_error = 1;
  if (record->y + record->height > record->frame_height) config_error = 1;
  config = record;
  config->opacity = std::min(config->opacity, 100U);

  derive_planes();
  derive_sizes();
  frame_bytes = frame_size;

  if (config->opacity <= 99) opacity_table = make_opacity_table(config->opacity);
  if (!check_geometry()) return config_error;
  if (smallest_image >= overlay_buffer_size) {
    for (const unsigned char* const image : images) plans.push_back(plan_of(image));
  }
  geometry_is_sound = true;
  return config_error;
}

void watermark_impl::derive_planes() {
  if (config->format > 2) return;  // not a layout: the planes stay unchanged

  const unsigned int shift_x = config->format == 2 ? 0 : 1;
  const unsigned int shift_y = config->format == 0 ? 1 : 0;

  luma_width = config->frame_width;
  luma_height = config->frame_height;
  chroma_width = luma_width >> shift_x;
  chroma_height = luma_height >> shift_y;
  overlay_width = config->width;
  overlay_height = config->height;
  overlay_chroma_width = overlay_width >> shift_x;
  overlay_chroma_height = overlay_height >> shift_y;
  overlay_x = config->x;
  overlay_y = config->y;
  overlay_chroma_x = overlay_x >> shift_x;
  overlay_chroma_y = overlay_y >> shift_y;
  alpha_step_x = 1U << shift_x;
  alpha_step_y = 1U << shift_y;
}

void watermark_impl::derive_sizes() {
  luma_size = luma_width * luma_height;
  chroma_size = chroma_width * chroma_height;
  overlay_luma_size = overlay_width * overlay_height;
  overlay_chroma_size = overlay_chroma_width * overlay_chroma_height;
  frame_size = luma_size + 2 * chroma_size;
  overlay_buffer_size = 2 * (overlay_luma_size + overlay_chroma_size);

  luma_above = luma_width * overlay_y;
  chroma_above = chroma_width * overlay_chroma_y;
  luma_below = (luma_height - overlay_y - overlay_height) * luma_width;
  chroma_below = (chroma_height - overlay_chroma_y - overlay_chroma_height) * chroma_width;
  luma_right = luma_width - overlay_x - overlay_width;
  chroma_right = chroma_width - overlay_chroma_x - overlay_chroma_width;
}

// Checking the position in the luma plane is enough: halving both parts of a sum rounds down at
// least as far as halving the sum, so an overlay inside the luma plane is also inside the chroma
// planes.
bool watermark_impl::check_geometry() const {
  const auto product = [](std::uint64_t a, std::uint64_t b) { return a * b; };
  const auto sum = [](std::uint64_t a, std::uint64_t b) { return a + b; };

  return sum(overlay_x, overlay_width) <= luma_width &&
         sum(overlay_y, overlay_height) <= luma_height &&
         countable(product(luma_width, luma_height), product(chroma_width, chroma_height)) &&
         countable(2 * product(overlay_width, overlay_height),
                   product(overlay_chroma_width, overlay_chroma_height));
}

// After each chroma row, the alpha advances by the samples that the row has used and then by the
// skipped rows. With an odd overlay width in 4:2:0 it therefore lags by one more column per chroma
// row.
overlay_plan watermark_impl::plan_of(const unsigned char* image) const {
  const unsigned char* const luma = image + overlay_luma_size;
  overlay_plane plane = {luma, overlay_width, overlay_height, luma_above + overlay_x, luma_width,
                         1,    overlay_width};
  std::vector<overlay_plane> planes = {plane};

  plane.width = overlay_chroma_width;
  plane.rows = overlay_chroma_height;
  plane.stride = chroma_width;
  plane.alpha_step = alpha_step_x;
  plane.alpha_row_step = std::size_t{alpha_step_x} * overlay_chroma_width +
                         std::size_t{alpha_step_y - 1} * overlay_width;
  for (std::size_t i = 0; i < 2; ++i) {
    plane.overlay = luma + overlay_luma_size + i * overlay_chroma_size;
    plane.at = luma_size + i * chroma_size + chroma_above + overlay_chroma_x;
    planes.push_back(plane);
  }
  return overlay_plan(planes, image, frame_size);
}

unsigned int watermark_impl::generate_lookup_table() {
  if (config == nullptr) return 0;
  opacity_table = make_opacity_table(config->opacity);
  return opacity_table_entries;
}

unsigned int watermark_impl::add_watermark_image(unsigned char* image, unsigned char* alpha) {
  if (config_error != 0) return config_error;
  if (!geometry_is_sound || image == nullptr) return 1;

  std::unique_ptr<unsigned char[]> composed(new unsigned char[overlay_buffer_size]);
  if (alpha != nullptr) {
    std::memcpy(composed.get(), alpha, overlay_luma_size);
  } else {
    std::memset(composed.get(), 255, overlay_luma_size);
  }
  std::memcpy(composed.get() + overlay_luma_size, image, overlay_buffer_size - overlay_luma_size);
  if (config->opacity <= 99) fade(composed.get(), overlay_luma_size, opacity_table);

  plans.push_back(plan_of(composed.get()));
  try {
    images.push_back(composed.get());
  } catch (...) {
    plans.pop_back();
    throw;
  }
  static_cast<void>(composed.release());
  smallest_image = std::min(smallest_image, overlay_buffer_size);
  return 0;
}

void watermark_impl::fade_alpha(unsigned char* alpha) {
  fade(alpha, std::size_t{overlay_width} * overlay_height, opacity_table);
}

unsigned char* watermark_impl::process(unsigned char* frame) {
  if (config_error != 0 || images.empty()) return nullptr;
  if (!geometry_is_sound || smallest_image < overlay_buffer_size || frame == nullptr) {
    return nullptr;
  }

  unsigned int index = image_index;
  if (index >= images.size()) index = config->hold_last_image != 0 ? index - 1 : 0;

  auto* const picture = new unsigned char[frame_size];
  plans[index].blend(picture, frame);
  image_index = index + 1;
  return picture;
}

}  // namespace ns_video_watermark
