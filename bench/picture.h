#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <vector>

namespace ns_bench {

/// How the three planes of a Y'CbCr picture are stored.
struct picture_layout {
  unsigned int shift_x, shift_y;  // of chroma
  unsigned int sample_bytes;
};

constexpr picture_layout yuv420_8 = {1, 1, 1};
constexpr picture_layout yuv422_8 = {1, 0, 1};
constexpr picture_layout yuv422_16 = {1, 0, 2};

/// A planar picture in one block that is aligned to 64 bytes and completely initialised, with the
/// same pseudo-random samples each time for the same size.
class picture {
 public:
  struct plane {
    unsigned char* data;
    int stride;  // bytes
    int width, height;
  };

  /// Rows are aligned to `row_alignment` bytes; with 1 there is no padding.
  picture(picture_layout layout, unsigned int width, unsigned int height,
          std::size_t row_alignment = 1);

  const std::vector<plane>& planes() const { return planes_; }
  unsigned char* data() const { return block_.get(); }
  std::size_t size() const { return size_; }

 private:
  struct release {
    void operator()(unsigned char* block) const { std::free(block); }
  };

  std::size_t size_ = 0;
  std::unique_ptr<unsigned char[], release> block_;
  std::vector<plane> planes_;
};

}  // namespace ns_bench
