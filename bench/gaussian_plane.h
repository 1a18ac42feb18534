#pragma once

#include <cstddef>
#include <vector>

namespace ns_bench {

/// A 1920 x 1080 plane with two more rows and columns on each side, which the larger mask reads.
template <typename T>
class gaussian_plane {
 public:
  static constexpr int width = 1920;
  static constexpr int height = 1080;
  static constexpr int border = 2;
  static constexpr int columns = width + 2 * border;
  static constexpr int stride = columns * static_cast<int>(sizeof(T));

  gaussian_plane() : samples_(std::size_t{columns} * (height + 2 * border)) {
    unsigned int state = 1;
    for (T& sample : samples_) {
      state = state * 1664525 + 1013904223;
      sample = static_cast<T>(state >> (32 - 8 * sizeof(T)));
    }
  }

  const T* row(int y) const { return samples_.data() + offset(y); }
  T* row(int y) { return samples_.data() + offset(y); }
  const T* first() const { return row(0); }
  T* first() { return row(0); }

 private:
  static std::size_t offset(int y) {
    return static_cast<std::size_t>(y + border) * columns + border;
  }

  std::vector<T> samples_;
};

}  // namespace ns_bench
