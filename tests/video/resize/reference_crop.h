#pragma once

#include <cstdint>
#include <vector>

#include "tests/video/resize/reference_request.h"

namespace reference {

/// Which rectangle of the input is kept and what is put around it.
struct crop_plan {
  /// No rectangle: the source is 0 x 0.
  bool refused = true;
  /// The fit asks for a rectangle outside the input, or for more border than a size can say.
  bool impossible = false;
  std::uint32_t left = 0, right = 0, top = 0, bottom = 0;
  std::uint32_t pad_left = 0, pad_right = 0, pad_top = 0, pad_bottom = 0;
  std::uint32_t width = 0, height = 0;  ///< with the border
};

/// The plan for a request whose sizes are not negative and whose input is even.
crop_plan plan_crop(const resize_request& request);

/// Cuts the plan's rectangle out of `frame` (a whole input frame, plane after plane) and sets it
/// into its border.
std::vector<std::uint16_t> cropped(const crop_plan& plan, const resize_request& request,
                                   const sample_format& format,
                                   const std::vector<std::uint16_t>& frame);

}  // namespace reference
