#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "tests/video/resize/reference_request.h"

namespace reference {

/// A picture plane; samples of both widths are stored in 16 bits, row after row.
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

/// The weight of a sample at `distance` (in source samples) with kernel `method`; 0 for other
/// methods.
float kernel(int method, float a, float distance);

/// For every output sample along one axis: the first source sample that it uses, and the weights of
/// that sample and the following ones.
struct axis_table {
  int taps = 1;
  std::vector<std::int64_t> start;
  std::vector<std::array<float, 4>> weight;
};

/// The table for scaling `source` samples to `outputs`, methods 1 to 4.
axis_table make_axis_table(std::int64_t source, std::int64_t outputs, int method, float a);

/// The table of luma as used by a chroma plane of `source` samples: positions are clamped to the
/// plane, weights do not change.
axis_table limited_to(axis_table table, std::int64_t source);

/// Scales `source` to `width` columns.
plane scale_x(const plane& source, const axis_table& table, std::size_t width,
              const sample_format& format);

/// Scales `source` to `height` rows.
plane scale_y(const plane& source, const axis_table& table, std::size_t height,
              const sample_format& format);

/// Smooths the picture with the Gaussian of `size` 3 or 5, except for its outermost `size / 2` rows
/// and columns. Returns a picture smaller than the mask unchanged.
plane smoothed(const plane& source, int size);

}  // namespace reference
