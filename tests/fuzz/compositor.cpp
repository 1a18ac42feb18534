// Many calls of the compositor in any order; its pictures are compared pixel by pixel.
#include <algorithm>
#include <deque>
#include <memory>
#include <vector>

#include "tests/fuzz/byte_reader.h"
#include "tests/video/watermark/reference_compositor.h"
#include "video/watermark/watermark_impl.h"

namespace {

using fuzz::byte_reader;
using fuzz::require;
using ns_video_watermark::watermark_config;
using ns_video_watermark::watermark_impl;
using test_support::guarded_buffer;
using watermark_test::bytes;

// Larger pictures are configured but not blended, to limit time and memory.
constexpr std::uint64_t most_bytes = 40000;

std::uint64_t true_picture_size(std::uint64_t width, std::uint64_t height, unsigned int format) {
  const unsigned int shift_x = format == 2 ? 0 : 1;
  const unsigned int shift_y = format == 0 ? 1 : 0;
  return width * height + 2 * ((width >> shift_x) * (height >> shift_y));
}

struct image {
  bytes picture;
  bytes alpha;  // with the opacity applied
};

class session {
 public:
  ~session() {
    for (watermark_config* record : earlier_records_) delete record;
    for (unsigned char* table : earlier_tables_) delete[] table;
  }
  session() = default;
  session(const session&) = delete;
  session& operator=(const session&) = delete;

  void configure(byte_reader& in) {
    if (object_.config != nullptr) earlier_records_.push_back(object_.config);
    if (object_.opacity_table != nullptr) earlier_tables_.push_back(object_.opacity_table);
    object_.opacity_table = nullptr;
    auto* const record = new watermark_config();
    record->frame_width = static_cast<unsigned int>(in.size(90));
    record->frame_height = static_cast<unsigned int>(in.size(70));
    record->x = static_cast<unsigned int>(in.size(40));
    record->y = static_cast<unsigned int>(in.size(40));
    record->width = static_cast<unsigned int>(in.size(80));
    record->height = static_cast<unsigned int>(in.size(60));
    if (in.byte() < 200) {
      record->x = std::min(record->x, record->frame_width);
      record->y = std::min(record->y, record->frame_height);
      record->width = std::min(record->width, record->frame_width - record->x);
      record->height = std::min(record->height, record->frame_height - record->y);
    }
    record->opacity = static_cast<unsigned int>(in.size(110));
    record->format = in.byte() < 250 ? static_cast<unsigned int>(in.between(0, 2)) : in.word();
    record->hold_last_image = in.byte() & 1;

    const bool fits = record->x + record->width <= record->frame_width &&
                      record->y + record->height <= record->frame_height;
    unsigned int frame_size = 1;
    require(object_.configure(record, frame_size) == (fits ? 0U : 1U), "result of configure");
    require(frame_size == object_.frame_size, "size of a frame");
    // If the format is not a layout, the planes of before remain; then only the guards are checked.
    comparable_ = record->format <= 2;
    settings_ = *record;
    const std::uint64_t frame =
        true_picture_size(record->frame_width, record->frame_height, record->format);
    sound_ = fits && comparable_ &&
             std::uint64_t{record->x} + record->width <= record->frame_width &&
             std::uint64_t{record->y} + record->height <= record->frame_height &&
             std::uint64_t{record->frame_width} * record->frame_height < (1ULL << 40) &&
             frame <= 0xFFFFFFFFU;
    small_ = object_.frame_size <= most_bytes && object_.overlay_buffer_size <= most_bytes;
    if (sound_) require(frame_size == frame, "size of a frame that does not wrap");
  }

  void add(byte_reader& in) {
    if (object_.config == nullptr || !small_ || images_.size() >= 100) return;
    const test_support::protected_edge edge = in.edge();
    const std::size_t alpha_size = object_.overlay_luma_size;
    guarded_buffer picture(object_.overlay_buffer_size - alpha_size, edge, fuzz::pattern_of(edge));
    guarded_buffer alpha(alpha_size, edge, fuzz::pattern_of(edge));
    in.fill(picture.data(), picture.size());
    in.fill(alpha.data(), alpha.size());
    const bool opaque = in.byte() % 4 == 0;
    const unsigned int result =
        object_.add_watermark_image(picture.data(), opaque ? nullptr : alpha.data());
    fuzz::require_undamaged(picture);
    fuzz::require_undamaged(alpha);
    if (comparable_) require(result == (sound_ ? 0U : 1U), "result of adding an image");
    if (result != 0) return;
    image added = {
        bytes(picture.data(), picture.data() + picture.size()),
        opaque ? bytes(alpha_size, 255) : bytes(alpha.data(), alpha.data() + alpha_size)};
    for (unsigned char& a : added.alpha) a = weakened(a);
    images_.push_back(std::move(added));
  }

  void process(byte_reader& in) {
    if (object_.config != nullptr && !small_) return;
    const std::size_t size = object_.config == nullptr ? 0 : object_.frame_size;
    const test_support::protected_edge edge = in.edge();
    guarded_buffer frame(size, edge, fuzz::pattern_of(edge));
    in.fill(frame.data(), size);
    const bytes before(frame.data(), frame.data() + size);
    const std::unique_ptr<unsigned char[]> out(object_.process(frame.data()));
    fuzz::require_undamaged(frame);
    require(std::equal(before.begin(), before.end(), frame.data()), "the frame was written");
    if (out == nullptr || !comparable_) {
      if (comparable_) {
        require(!sound_ || images_.empty() || some_image_is_too_small(), "no picture");
      }
      if (out != nullptr) advance();
      return;
    }
    require(sound_ && !images_.empty(), "a picture of nothing");
    const image& shown = advance();
    // An image for another geometry is read without conversion.
    if (shown.picture.size() != watermark_test::image_bytes(settings_) ||
        shown.alpha.size() != watermark_test::alpha_bytes(settings_)) {
      return;
    }
    const bytes expected = watermark_test::reference(settings_, before, shown.picture, shown.alpha);
    require(std::equal(expected.begin(), expected.end(), out.get()), "a byte of the picture");
  }

 private:
  unsigned char weakened(unsigned char alpha) const {
    const unsigned int opacity = std::min(settings_.opacity, 100U);
    if (opacity > 99) return alpha;
    return static_cast<unsigned char>(static_cast<float>(alpha) *
                                      (static_cast<float>(opacity) / 100.0F));
  }

  bool some_image_is_too_small() const {
    return std::any_of(images_.begin(), images_.end(), [this](const image& i) {
      return i.picture.size() + i.alpha.size() < object_.overlay_buffer_size;
    });
  }

  // The image that the rule of the sequence selects.
  const image& advance() {
    if (next_ >= images_.size()) next_ = settings_.hold_last_image != 0 ? next_ - 1 : 0;
    return images_[next_++];
  }

  watermark_impl object_;
  watermark_config settings_ = {};
  bool comparable_ = true;
  bool sound_ = false;
  bool small_ = false;
  std::deque<image> images_;
  std::size_t next_ = 0;
  std::vector<watermark_config*> earlier_records_;
  std::vector<unsigned char*> earlier_tables_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  byte_reader in(data, size);
  session calls;
  while (in.left() != 0) {
    switch (in.byte() % 4) {
      case 0:
        calls.configure(in);
        break;
      case 1:
        calls.add(in);
        break;
      default:
        calls.process(in);
        break;
    }
  }
  return 0;
}
