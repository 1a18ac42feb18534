#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "tests/video/resize/reference_request.h"

namespace reference {

/// A picture plane; samples of either width are kept in 16 bits, row after row.
struct plane {
  std::size_t width = 0;
  std::size_t height = 0;
  std::vector<std::uint16_t> samples;

  plane() = default;
  plane(std::size_t w, std::size_t h) : width(w), height(h), samples(w * h) {}
  std::uint16_t& at(std::size_t x, std::size_t y) { return samples.at(y * width + x); }
  std::uint16_t at(std::size_t x, std::size_t y) const { return samples.at(y * width + x); }
  bool empty() const { return samples.empty(); }
};

/// Weight of a sample at `distance` (in source samples) under kernel `method`, 0 for any other.
float kernel(int method, float a, float distance);

/// For every output sample along one axis: the first source sample it is made of, and the weights
/// of that one and of those that follow it.
struct axis_table {
  int taps = 1;
  std::vector<std::int64_t> start;
  std::vector<std::array<float, 4>> weight;
};

/// The table by which `source` samples become `outputs`, methods 1 to 4.
axis_table make_axis_table(std::int64_t source, std::int64_t outputs, int method, float a);

/// The luma's table as a chroma plane of `source` samples uses it: positions held inside the plane,
/// weights as they are.
axis_table limited_to(axis_table table, std::int64_t source);

/// Changes the width of `source` to `width`.
plane scale_x(const plane& source, const axis_table& table, std::size_t width,
              const sample_format& format);

/// Changes the height of `source` to `height`.
plane scale_y(const plane& source, const axis_table& table, std::size_t height,
              const sample_format& format);

/// The picture with all but its outermost `size / 2` rows and columns smoothed by the Gaussian of
/// `size` 3 or 5; a picture smaller than the mask as it is.
plane smoothed(const plane& source, int size);

}  // namespace reference
