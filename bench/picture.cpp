#include "bench/picture.h"

#include <cstdint>
#include <new>

namespace ns_bench {
namespace {

constexpr std::size_t block_alignment = 64;

std::size_t round_up(std::size_t value, std::size_t step) {
  return (value + step - 1) / step * step;
}

void fill(unsigned char* bytes, std::size_t count) {
  std::uint32_t state = 1;
  for (std::size_t i = 0; i < count; ++i) {
    state = state * 1664525 + 1013904223;
    bytes[i] = static_cast<unsigned char>(state >> 24);
  }
}

}  // namespace

picture::picture(picture_layout layout, unsigned int width, unsigned int height,
                 std::size_t row_alignment) {
  std::vector<std::size_t> offsets;
  for (int index = 0; index < 3; ++index) {
    const unsigned int plane_width = index == 0 ? width : width >> layout.shift_x;
    const unsigned int plane_height = index == 0 ? height : height >> layout.shift_y;
    const std::size_t row = std::size_t{plane_width} * layout.sample_bytes;
    const std::size_t stride = round_up(row, row_alignment);
    planes_.push_back({nullptr, static_cast<int>(stride), static_cast<int>(plane_width),
                       static_cast<int>(plane_height)});
    offsets.push_back(size_);
    size_ += stride * plane_height;
  }

  void* const block = std::aligned_alloc(block_alignment, round_up(size_, block_alignment));
  if (block == nullptr) throw std::bad_alloc();
  block_.reset(static_cast<unsigned char*>(block));
  fill(data(), size_);
  for (std::size_t index = 0; index < planes_.size(); ++index) {
    planes_[index].data = data() + offsets[index];
  }
}

}  // namespace ns_bench
