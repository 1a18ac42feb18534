#include "tests/video/resize/reference_crop.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstddef>
#include <utility>

namespace reference {

namespace {

struct aspect {
  float x;
  float y;
};

aspect source_aspect(const resize_request& request) {
  switch (request.aspect_preset) {
    case 0:
      return {0.0F, 0.0F};
    case 2:
      return {4.0F, 3.0F};
    case 3:
      return {16.0F, 9.0F};
    case 4:
      return {2.21F, 1.0F};
    case 5:
      return {5.0F, 4.0F};
    default:
      return {request.aspect_x, request.aspect_y};
  }
}

double target_ratio(const resize_request& request, aspect display) {
  const double wanted = static_cast<double>(request.out_width) / request.out_height;
  if (display.x == 0.0F || display.y == 0.0F) return wanted;
  const float shape = static_cast<float>(request.in_width) / static_cast<float>(request.in_height);
  const float pixel_aspect = display.x / display.y / shape;
  return wanted / static_cast<double>(pixel_aspect);
}

// Half of a fitted amount; false if it does not fit in a 64-bit integer.
bool halved(double amount, std::uint32_t& half) {
  if (!(std::fabs(amount) < 0x1p63)) return false;
  half = static_cast<std::uint32_t>(static_cast<std::int64_t>(amount)) >> 1;
  return true;
}

bool fit(crop_plan& plan, const resize_request& request, double target) {
  const double w = static_cast<double>(plan.width);
  const double h = static_cast<double>(plan.height);
  const double current = w / h;
  std::uint32_t half = 0;
  if (request.fit_mode == 1 && current > target) {
    if (!halved(w - h * target + 0.5, half)) return false;
    plan.left += half;
    plan.right += half;
  } else if (request.fit_mode == 1 && target > current) {
    if (!halved(h - w / target + 0.5, half)) return false;
    plan.top += half;
    plan.bottom += half;
  } else if (request.fit_mode == 2 && target > current) {
    if (!halved(h * target - w, half)) return false;
    plan.pad_left += half;
    plan.pad_right += half;
  } else if (request.fit_mode == 2 && current > target) {
    if (!halved(w / target - h, half)) return false;
    plan.pad_top += half;
    plan.pad_bottom += half;
  }
  return true;
}

void make_size_even(std::uint32_t& size, std::uint32_t& crop, std::uint32_t& pad, int fit_mode) {
  if (size % 2 == 0) return;
  if (fit_mode == 2) {
    ++pad;
    ++size;
  } else {
    ++crop;
    --size;
  }
}

void make_sides_even(std::uint32_t& first, std::uint32_t& second) {
  if (first % 2 == 1 && second % 2 == 1) {
    ++first;
    --second;
  }
}

// Without wrapping, the rectangle is inside the input, the border is the rest, and the size fits in
// an int.
bool possible(std::int64_t in, std::int64_t cut, std::int64_t border, std::int64_t out) {
  return cut <= in && in - cut + border == out && out <= INT_MAX;
}

}  // namespace

crop_plan plan_crop(const resize_request& request) {
  crop_plan plan;
  plan.left = static_cast<std::uint32_t>(request.crop_left);
  plan.right = static_cast<std::uint32_t>(request.crop_right);
  plan.top = static_cast<std::uint32_t>(request.crop_top);
  plan.bottom = static_cast<std::uint32_t>(request.crop_bottom);
  const auto in_width = static_cast<std::uint32_t>(request.in_width);
  const auto in_height = static_cast<std::uint32_t>(request.in_height);
  const auto out_width = static_cast<std::uint32_t>(request.out_width);
  const auto out_height = static_cast<std::uint32_t>(request.out_height);
  // As unsigned amounts: a negative one exceeds every input.
  const auto cut_x = std::int64_t{plan.left} + plan.right;
  const auto cut_y = std::int64_t{plan.top} + plan.bottom;
  if (!layout_of(request.space).valid || request.fit_mode < 0 || request.fit_mode > 2 ||
      cut_x >= request.in_width || cut_y >= request.in_height || out_width == 0 ||
      out_height == 0) {
    return plan;
  }

  const bool crop_only = request.resize_mode != 0 && request.resize_mode != 2;
  if (crop_only) {
    const std::uint32_t available_x = in_width - (plan.left + plan.right);
    const std::uint32_t available_y = in_height - (plan.top + plan.bottom);
    if (out_width > available_x) {
      plan.pad_left = plan.pad_right = (out_width - available_x) >> 1;
    } else {
      const std::uint32_t extra = (available_x - out_width) >> 1;
      plan.left += extra;
      plan.right += extra;
    }
    if (out_height > available_y) {
      plan.pad_top = plan.pad_bottom = (out_height - available_y) >> 1;
    } else {
      const std::uint32_t extra = (available_y - out_height) >> 1;
      plan.top += extra;
      plan.bottom += extra;
    }
  }
  plan.refused = false;

  const aspect display = crop_only ? aspect{0.0F, 0.0F} : source_aspect(request);
  plan.width = plan.pad_left + in_width + plan.pad_right - plan.left - plan.right;
  plan.height = plan.pad_top + in_height + plan.pad_bottom - plan.top - plan.bottom;
  if (!fit(plan, request, target_ratio(request, display))) {
    plan.impossible = true;
    return plan;
  }
  plan.width = plan.pad_left + plan.pad_right - plan.left - plan.right + in_width;
  plan.height = plan.pad_top + plan.pad_bottom - plan.top - plan.bottom + in_height;
  make_size_even(plan.width, plan.left, plan.pad_left, request.fit_mode);
  make_size_even(plan.height, plan.top, plan.pad_top, request.fit_mode);
  plan.impossible = !possible(in_width, std::int64_t{plan.left} + plan.right,
                              std::int64_t{plan.pad_left} + plan.pad_right, plan.width) ||
                    !possible(in_height, std::int64_t{plan.top} + plan.bottom,
                              std::int64_t{plan.pad_top} + plan.pad_bottom, plan.height);
  if (plan.impossible) return plan;
  make_sides_even(plan.top, plan.bottom);
  make_sides_even(plan.left, plan.right);
  make_sides_even(plan.pad_top, plan.pad_bottom);
  make_sides_even(plan.pad_left, plan.pad_right);
  return plan;
}

namespace {

// Copies `rows` rows of `length` samples, with the strides of the two frames.
void copy_rows(const std::vector<std::uint16_t>& from, std::size_t from_start,
               std::size_t from_stride, std::vector<std::uint16_t>& to, std::size_t to_start,
               std::size_t to_stride, std::size_t rows, std::size_t length) {
  for (std::size_t r = 0; r < rows; ++r) {
    for (std::size_t i = 0; i < length; ++i) {
      to.at(to_start + r * to_stride + i) = from.at(from_start + r * from_stride + i);
    }
  }
}

}  // namespace

std::vector<std::uint16_t> cropped(const crop_plan& plan, const resize_request& request,
                                   const sample_format& format,
                                   const std::vector<std::uint16_t>& frame) {
  const layout l = layout_of(request.space);
  const std::size_t w = request.in_width, h = request.in_height;
  const std::size_t ow = plan.width, oh = plan.height;
  const std::size_t chroma_in_width = w >> l.shift_x;
  const std::size_t chroma_out_width = ow >> l.shift_x, chroma_out_height = oh >> l.shift_y;
  const std::size_t full_planes = l.alpha ? 2 : 1;

  std::vector<std::uint16_t> result(full_planes * ow * oh +
                                    2 * chroma_out_width * chroma_out_height);
  std::fill(result.begin() + static_cast<std::ptrdiff_t>(full_planes * ow * oh), result.end(),
            format.neutral_chroma);
  if (ow == 0 || oh == 0) return result;

  const std::size_t rows = h - plan.top - plan.bottom;
  const std::size_t length = w - plan.left - plan.right;
  for (std::size_t p = 0; p < full_planes; ++p) {
    copy_rows(frame, p * w * h + plan.top * w + plan.left, w, result,
              p * ow * oh + plan.pad_top * ow + plan.pad_left, ow, rows, length);
  }

  const std::size_t chroma_rows = rows >> l.shift_y;
  const std::size_t chroma_length = length >> l.shift_x;
  std::size_t from =
      full_planes * w * h + (plan.top >> l.shift_y) * chroma_in_width + (plan.left >> l.shift_x);
  std::size_t to = full_planes * ow * oh + (plan.pad_top >> l.shift_y) * chroma_out_width +
                   (plan.pad_left >> l.shift_x);
  copy_rows(frame, from, chroma_in_width, result, to, chroma_out_width, chroma_rows, chroma_length);

  // The start of Cr depends on the amounts, not on its plane: with odd amounts the two differ.
  from += chroma_in_width * (chroma_rows + (plan.top >> l.shift_y) + (plan.bottom >> l.shift_y));
  to += chroma_out_width *
        (chroma_rows + (plan.pad_top >> l.shift_y) + (plan.pad_bottom >> l.shift_y));
  copy_rows(frame, from, chroma_in_width, result, to, chroma_out_width, chroma_rows, chroma_length);
  return result;
}

}  // namespace reference
