#pragma once

#include <cstdint>
#include <vector>

#include "tests/video/resize/reference_request.h"

namespace reference {

/// The rectangle of the input that is kept, and the border around it.
struct crop_plan {
  /// No rectangle: the source is 0 x 0.
  bool refused = true;
  /// The fit requires a rectangle outside the input, or a border that exceeds the largest size.
  bool impossible = false;
  std::uint32_t left = 0, right = 0, top = 0, bottom = 0;
  std::uint32_t pad_left = 0, pad_right = 0, pad_top = 0, pad_bottom = 0;
  std::uint32_t width = 0, height = 0;  ///< including the border
};

/// The plan for a request whose sizes are not negative and whose input is even.
crop_plan plan_crop(const resize_request& request);

/// Crops the plan's rectangle from `frame` (a complete input frame, plane after plane) and adds its
/// border.
std::vector<std::uint16_t> cropped(const crop_plan& plan, const resize_request& request,
                                   const sample_format& format,
                                   const std::vector<std::uint16_t>& frame);

}  // namespace reference
