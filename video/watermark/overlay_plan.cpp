#include "video/watermark/overlay_plan.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>

namespace ns_video_watermark {
namespace {

// A run of transparent samples that is shorter than this is blended, too, which does not change it:
// a separate copy takes longer.
constexpr std::size_t shortest_copy = 32;

// The first position from `at` on where `alpha` is not 0; `width` if there is none.
std::size_t next_visible(const unsigned char* alpha, std::size_t at, std::size_t width) {
  std::uint64_t eight = 0;
  for (; at + sizeof eight <= width; at += sizeof eight) {
    std::memcpy(&eight, alpha + at, sizeof eight);
    if (eight != 0) break;
  }
  while (at < width && alpha[at] == 0) ++at;
  return at;
}

// The blend lines of all overlay samples and alphas, each computed when it is first needed.
class line_table {
 public:
  blend_line operator()(unsigned char overlay, unsigned char alpha) {
    std::unique_ptr<blend_line[]>& lines = of_alpha_[alpha];
    if (lines == nullptr) lines = std::make_unique<blend_line[]>(256);
    blend_line& line = lines[overlay];
    if (line.slope == 0 && line.offset == 0) line = line_of(overlay, alpha);  // no line is all 0
    return line;
  }

 private:
  std::array<std::unique_ptr<blend_line[]>, 256> of_alpha_;
};

// The overlay and alpha samples of one block. Where the overlay is transparent, or the row ends
// before the block, both are 0.
struct covered {
  unsigned char alpha[block_samples] = {};
  unsigned char overlay[block_samples] = {};
};

bool operator==(const covered& a, const covered& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

// The block of the first `count` samples; `count` is from 1 to `block_samples`.
covered cover(const unsigned char* overlay, const unsigned char* alpha, std::size_t count) {
  covered samples;
  if (count == block_samples) {
    std::memcpy(samples.alpha, alpha, block_samples);
    std::memcpy(samples.overlay, overlay, block_samples);
  } else {
    std::memcpy(samples.alpha, alpha, count);
    std::memcpy(samples.overlay, overlay, count);
  }
  for (std::size_t i = 0; i < block_samples; ++i) {
    samples.overlay[i] = samples.alpha[i] == 0 ? 0 : samples.overlay[i];
  }
  return samples;
}

std::size_t hash(const covered& samples) {
  constexpr std::uint64_t factors[] = {0x9E3779B97F4A7C15U, 0xC2B2AE3D27D4EB4FU,
                                       0x165667B19E3779F9U, 0xD6E8FEB86659FD93U};
  std::uint64_t words[4];
  static_assert(sizeof words == sizeof samples);
  std::memcpy(words, &samples, sizeof words);
  std::uint64_t mixed = 0;
  for (int i = 0; i < 4; ++i) mixed += (words[i] ^ words[i] >> 32) * factors[i];
  return static_cast<std::size_t>(mixed >> 32);
}

// The distinct blocks, each stored once; a hash table with open addressing of their numbers plus
// one.
class covered_set {
 public:
  covered_set() : slots_(1024) {}

  const std::vector<covered>& kept() const { return kept_; }

  std::uint32_t number_of(const covered& samples) {
    if (kept_.size() * 2 >= slots_.size()) grow();
    std::uint32_t& slot = slot_of(samples);
    if (slot == 0) {
      kept_.push_back(samples);
      slot = static_cast<std::uint32_t>(kept_.size());
    }
    return slot - 1;
  }

 private:
  // The slot that contains the number, or that it would be inserted in.
  std::uint32_t& slot_of(const covered& samples) {
    const std::size_t mask = slots_.size() - 1;
    std::size_t at = hash(samples) & mask;
    while (slots_[at] != 0 && !(kept_[slots_[at] - 1] == samples)) at = (at + 1) & mask;
    return slots_[at];
  }

  void grow() {
    slots_.assign(slots_.size() * 4, 0);
    for (std::size_t i = 0; i < kept_.size(); ++i) {
      slot_of(kept_[i]) = static_cast<std::uint32_t>(i + 1);
    }
  }

  std::vector<covered> kept_;
  std::vector<std::uint32_t> slots_;
};

}  // namespace

// Fills a plan row by row, from the top of the first plane to the end of the last.
class overlay_planner {
 public:
  explicit overlay_planner(overlay_plan& plan) : plan_(plan) {}

  void add_plane(const overlay_plane& plane, const unsigned char* alpha) {
    const std::size_t width = plane.width;
    // Empty planes may have billions of rows or columns.
    if (width == 0 || plane.rows == 0) return;
    std::vector<unsigned char> halved(plane.alpha_step == 2 ? width : 0);
    for (std::size_t row = 0; row < plane.rows; ++row) {
      const unsigned char* row_alpha = alpha + row * plane.alpha_row_step;
      if (plane.alpha_step == 2) {
        unsigned char* const out = halved.data();
        for (std::size_t i = 0; i < width; ++i) out[i] = row_alpha[2 * i];
        row_alpha = out;
      }
      add_row(plane.at + row * plane.stride, plane.overlay + row * width, row_alpha, width);
    }
  }

  void finish() {
    plan_.blocks_.reserve(covered_.kept().size());
    for (const covered& samples : covered_.kept()) plan_.blocks_.push_back(lines_of(samples));
  }

 private:
  void add_row(std::size_t at, const unsigned char* overlay, const unsigned char* alpha,
               std::size_t width) {
    std::size_t column = next_visible(alpha, 0, width);
    while (column < width) {
      const std::size_t count = std::min(width - column, block_samples);
      add_block(at + column, cover(overlay + column, alpha + column, count));
      const std::size_t end = column + count;
      column = next_visible(alpha, end, width);
      if (column < width && column - end < shortest_copy) column = end;
    }
  }

  // After the end of the row the block is transparent. The picture's samples there may belong to
  // the overlay's next row, which is blended after this block and overwrites them.
  void add_block(std::size_t at, const covered& samples) {
    std::vector<overlay_plan::stretch>& stretches = plan_.stretches_;
    const bool follows =
        !stretches.empty() && stretches.back().at + stretches.back().blocks * block_samples == at;
    if (!follows) stretches.push_back({at, 0});
    ++stretches.back().blocks;

    // The inside of a shape has one shade: often the block equals the previous one.
    if (!(samples == last_) || plan_.numbers_.empty()) number_ = covered_.number_of(samples);
    last_ = samples;
    plan_.numbers_.push_back(number_);
  }

  blend_block lines_of(const covered& samples) {
    blend_block block;
    for (std::size_t i = 0; i < block_samples; ++i) {
      const blend_line line = lines_(samples.overlay[i], samples.alpha[i]);
      block.slope[i] = line.slope;
      block.offset[i] = line.offset;
    }
    return block;
  }

  overlay_plan& plan_;
  line_table lines_;
  covered_set covered_;
  covered last_;
  std::uint32_t number_ = 0;
};

overlay_plan::overlay_plan(const std::vector<overlay_plane>& planes, const unsigned char* alpha,
                           std::size_t frame_size)
    : frame_size_(frame_size) {
  overlay_planner planner(*this);
  for (const overlay_plane& plane : planes) planner.add_plane(plane, alpha);
  planner.finish();
}

void overlay_plan::blend(unsigned char* out, const unsigned char* frame) const {
  const std::uint32_t* numbers = numbers_.data();
  std::size_t done = 0;
  for (const stretch& next : stretches_) {
    if (next.at > done) std::memcpy(out + done, frame + done, next.at - done);

    // Only the end of the picture can cut a block; that block is blended in a separate buffer.
    const std::size_t whole = std::min(next.blocks, (frame_size_ - next.at) / block_samples);
    blend_blocks_(out + next.at, frame + next.at, blocks_.data(), numbers, whole);
    done = next.at + whole * block_samples;
    if (whole < next.blocks) {
      unsigned char samples[block_samples] = {};
      unsigned char blended[block_samples];
      std::memcpy(samples, frame + done, frame_size_ - done);
      blend_blocks_(blended, samples, blocks_.data(), numbers + whole, 1);
      std::memcpy(out + done, blended, frame_size_ - done);
      done = frame_size_;
    }
    numbers += next.blocks;
  }
  if (frame_size_ > done) std::memcpy(out + done, frame + done, frame_size_ - done);
}

}  // namespace ns_video_watermark
