// Written to be read together with the description of the arithmetic, not for speed: one sample at
// a time, every index checked, single precision where the resizer's result depends on it.
#include "tests/video/resize/reference_scaling.h"

#include <algorithm>
#include <cmath>

namespace reference {

float kernel(int method, float a, float x) {
  const float x2 = x * x;
  const float x3 = x2 * x;
  const bool near = x >= 0.0F && x <= 1.0F;
  const bool far = x > 1.0F && x <= 2.0F;
  switch (method) {
    case 1:
      return std::fabs(1.0F - x);
    case 2:
      if (near) return (a + 2.0F) * x3 - (a + 3.0F) * x2 + 1.0F;
      if (far) return a * x3 - 5.0F * a * x * x + 8.0F * a * x - 4.0F * a;
      return 0.0F;
    case 3:
      if (near) return 0.5F * x3 - x2 + 2.0F / 3.0F;
      if (far) return -1.0F / 6.0F * x3 + x2 - 2.0F * x + 4.0F / 3.0F;
      return 0.0F;
    case 4:
      return 1.0F;
    default:
      return 0.0F;
  }
}

axis_table make_axis_table(std::int64_t source, std::int64_t outputs, int method, float a) {
  axis_table table;
  table.taps = method == 4 ? 1 : method == 1 ? 2 : 4;
  const std::int64_t last_start = std::max<std::int64_t>(0, source - table.taps);
  // A single output is at the first position.
  const float ratio =
      outputs == 1 ? 0.0F : static_cast<float>(source - 1) / static_cast<float>(outputs - 1);
  for (std::int64_t j = 0; j < outputs; ++j) {
    float position = static_cast<float>(j) * ratio;
    std::int64_t start = static_cast<std::int64_t>(position) + 1 - table.taps / 2;
    const bool outside = start < 0 || start > last_start;
    if (outside) {
      start = start < 0 ? 0 : last_start;
      position = static_cast<float>(std::floor(static_cast<double>(position) + 0.5));
    }
    std::array<float, 4> weight = {};
    for (int k = 0; k < table.taps; ++k) {
      weight.at(k) = kernel(method, a, std::fabs(position - static_cast<float>(start + k)));
    }
    table.start.push_back(start);
    table.weight.push_back(weight);
  }
  return table;
}

axis_table limited_to(axis_table table, std::int64_t source) {
  const std::int64_t last_start = std::max<std::int64_t>(0, source - table.taps);
  for (std::int64_t& start : table.start) start = std::min(start, last_start);
  return table;
}

namespace {

std::uint16_t stored_8(float value) {
  if (!(value > 0.0F)) return 0;  // NaN too
  if (value >= 255.0F) return 255;
  const float below = std::floor(value);
  const float rest = value - below;
  const auto whole = static_cast<unsigned>(below);
  const bool up = rest > 0.5F || (rest == 0.5F && whole % 2 == 1);
  return static_cast<std::uint16_t>(up ? whole + 1 : whole);
}

std::uint16_t stored_16(float value) {
  if (!(value > 0.0F)) return 0;  // NaN too
  if (value >= 65536.0F) return 65535;
  return static_cast<std::uint16_t>(value);
}

// One output sample, from entry `j`; `sample(i)` is source sample i of `count` along the axis. Taps
// after the last sample read the last one.
template <typename Sample>
std::uint16_t resample(const axis_table& table, std::size_t j, std::size_t count,
                       const sample_format& format, Sample sample) {
  const auto tap = [&](int k) {
    return sample(std::min(static_cast<std::size_t>(table.start.at(j) + k), count - 1));
  };
  if (table.taps == 1) return tap(0);
  float sum = static_cast<float>(tap(0)) * table.weight.at(j).at(0);
  for (int k = 1; k < table.taps; ++k) {
    const float product = static_cast<float>(tap(k)) * table.weight.at(j).at(k);
    sum = product + sum;
  }
  return format.bytes == 1 ? stored_8(sum) : stored_16(sum);
}

}  // namespace

plane scale_x(const plane& source, const axis_table& table, std::size_t width,
              const sample_format& format) {
  plane result(width, source.height);
  for (std::size_t y = 0; y < result.height; ++y) {
    for (std::size_t x = 0; x < width; ++x) {
      result.at(x, y) =
          resample(table, x, source.width, format, [&](std::size_t i) { return source.at(i, y); });
    }
  }
  return result;
}

plane scale_y(const plane& source, const axis_table& table, std::size_t height,
              const sample_format& format) {
  plane result(source.width, height);
  for (std::size_t y = 0; y < height; ++y) {
    for (std::size_t x = 0; x < result.width; ++x) {
      result.at(x, y) =
          resample(table, y, source.height, format, [&](std::size_t i) { return source.at(x, i); });
    }
  }
  return result;
}

plane smoothed(const plane& source, int size) {
  static constexpr std::array<std::array<unsigned, 3>, 3> gauss_3x3 = {
      {{1, 2, 1}, {2, 4, 2}, {1, 2, 1}}};
  static constexpr std::array<std::array<unsigned, 5>, 5> gauss_5x5 = {{{2, 7, 12, 7, 2},
                                                                        {7, 31, 52, 31, 7},
                                                                        {12, 52, 127, 52, 12},
                                                                        {7, 31, 52, 31, 7},
                                                                        {2, 7, 12, 7, 2}}};
  const auto mask = static_cast<std::size_t>(size);
  const std::size_t border = mask / 2;
  plane result = source;
  if (source.width < mask || source.height < mask) return result;
  for (std::size_t y = border; y + border < source.height; ++y) {
    for (std::size_t x = border; x + border < source.width; ++x) {
      std::uint64_t sum = 0;
      for (std::size_t v = 0; v < mask; ++v) {
        for (std::size_t u = 0; u < mask; ++u) {
          const unsigned weight = size == 3 ? gauss_3x3.at(v).at(u) : gauss_5x5.at(v).at(u);
          sum += std::uint64_t{weight} * source.at(x + u - border, y + v - border);
        }
      }
      const std::uint64_t total = size == 3 ? 16 : 571;
      std::uint64_t rounded = sum / total;
      const std::uint64_t rest = 2 * (sum % total);
      if (rest > total || (rest == total && rounded % 2 == 1)) ++rounded;
      result.at(x, y) = static_cast<std::uint16_t>(rounded);
    }
  }
  return result;
}

}  // namespace reference
