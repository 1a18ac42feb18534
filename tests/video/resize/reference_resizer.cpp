#include "tests/video/resize/reference_resizer.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <ostream>

namespace reference {

std::ostream& operator<<(std::ostream& out, const resize_request& r) {
  return out << "create(" << r.created_for << "), init(" << r.out_width << ", " << r.out_height
             << ", " << r.in_width << ", " << r.in_height << ", " << r.space << ", " << r.crop_left
             << ", " << r.crop_right << ", " << r.crop_top << ", " << r.crop_bottom << ", "
             << r.aspect_preset << ", " << r.aspect_x << ", " << r.aspect_y << ", " << r.resize_mode
             << ", " << r.fit_mode << ", " << r.kernel_param << ", " << r.interpolation << ", "
             << r.smoothing << ", " << r.smoothing_level << ")";
}

layout layout_of(int space) {
  switch (space) {
    case 1:
      return {true, false, 1, 1, 1.5};
    case 2:
      return {true, true, 1, 1, 2.5};
    case 3:
    case 7:
      return {true, false, 1, 0, 2.0};
    case 4:
    case 8:
      return {true, false, 0, 0, 3.0};
    case 5:
      return {true, true, 1, 0, 3.0};
    case 6:
      return {true, true, 0, 0, 4.0};
    default:
      return {false, false, 1, 1, 0.0};
  }
}

namespace {

struct plane_shape {
  std::size_t width;
  std::size_t height;
  bool alpha;
  bool chroma;
};

// The planes of a frame, in the order of the buffer.
std::vector<plane_shape> planes_of(int space, std::size_t width, std::size_t height) {
  const layout l = layout_of(space);
  std::vector<plane_shape> planes;
  if (l.alpha) planes.push_back({width, height, true, false});
  planes.push_back({width, height, false, false});
  planes.push_back({width >> l.shift_x, height >> l.shift_y, false, true});
  planes.push_back({width >> l.shift_x, height >> l.shift_y, false, true});
  return planes;
}

// Samples of a frame; exact in double where it is compared with the largest int.
double frame_size(int space, double width, double height) {
  return std::floor(layout_of(space).frame_size * width * height);
}

int smoothing_mask(const resize_request& request, std::uint32_t width, std::uint32_t height) {
  const float shrink_x = static_cast<float>(width) / static_cast<float>(request.out_width);
  const float shrink_y = static_cast<float>(height) / static_cast<float>(request.out_height);
  const bool strong = shrink_x > 1.7F || shrink_y > 1.7F;
  const bool very_strong = shrink_x > 3.8F || shrink_y > 3.8F;
  if (request.smoothing == 0) return 0;
  if (very_strong) return 5;
  if (!strong && request.smoothing != 2) return 0;
  return 3;
}

}  // namespace

int reference_resizer::init(const resize_request& request) {
  *this = reference_resizer();
  request_ = request;
  if (request.created_for == 7 || request.created_for == 8) format_ = {2, 32768};

  const auto& r = request;
  if (r.in_width % 2 != 0 || r.in_height % 2 != 0) return -1;
  const bool copy_only = r.resize_mode != 0 && r.resize_mode != 2;
  if (!copy_only && (r.interpolation < 0 || r.interpolation > 4)) return 0;
  if (std::min({r.out_width, r.out_height, r.in_width, r.in_height}) < 0) return -1;
  const crop_plan crop = plan_crop(r);
  if (!layout_of(r.space).valid || crop.impossible) return -1;

  const std::uint32_t out_width = copy_only ? crop.width : static_cast<std::uint32_t>(r.out_width);
  const std::uint32_t out_height =
      copy_only ? crop.height : static_cast<std::uint32_t>(r.out_height);
  const bool x_first = out_width >= crop.width && out_height >= crop.height;
  const std::uint32_t mid_width = x_first ? out_width : crop.width;
  const std::uint32_t mid_height = x_first ? crop.height : out_height;
  const double in_size = frame_size(r.space, r.in_width, r.in_height);
  const double crop_size = frame_size(r.space, crop.width, crop.height);
  const double mid_size = frame_size(r.space, mid_width, mid_height);
  const double out_size = frame_size(r.space, out_width, out_height);
  if (std::max({in_size, crop_size, mid_size, out_size}) * format_.bytes > INT_MAX) return -1;

  crop_ = crop;
  copies_ = copy_only || (crop.width == out_width && crop.height == out_height);
  field_mode_ = r.resize_mode == 2;
  x_first_ = x_first;
  method_ = r.interpolation == 0 ? 2 : r.interpolation;
  smoothing_ = copy_only ? 0 : smoothing_mask(r, crop.width, crop.height);
  output_size_ = static_cast<unsigned>(out_size) * format_.bytes;
  input_size_ = static_cast<unsigned>(in_size) * format_.bytes;
  samples_ = in_size + crop_size + mid_size + out_size + out_width + out_height;
  return 1;
}

// The input frame; samples that are completely or partly beyond `size` bytes are neutral.
std::vector<std::uint16_t> reference_resizer::read_input(unsigned size,
                                                         const unsigned char* in) const {
  std::vector<std::uint16_t> frame;
  for (const plane_shape& p : planes_of(request_.space, static_cast<std::size_t>(request_.in_width),
                                        static_cast<std::size_t>(request_.in_height))) {
    frame.resize(frame.size() + p.width * p.height, p.chroma ? format_.neutral_chroma : 0);
  }
  for (std::size_t i = 0; i < frame.size() && (i + 1) * format_.bytes <= size; ++i) {
    frame[i] =
        format_.bytes == 1
            ? in[i]
            : static_cast<std::uint16_t>(in[2 * i] | static_cast<unsigned>(in[2 * i + 1]) << 8);
  }
  return frame;
}

// Plane `p` of the output from a source plane of full height or of the height of a field.
plane reference_resizer::scaled(const plane& source, std::size_t p) const {
  const unsigned fields = field_mode_ ? 2 : 1;
  const auto out_width = static_cast<std::size_t>(request_.out_width);
  const auto out_height = static_cast<std::size_t>(request_.out_height) / fields;
  const auto shape = planes_of(request_.space, out_width, request_.out_height).at(p);
  // In field mode, chroma of half height is scaled as one plane: it has the height of a field.
  const bool half_height = shape.chroma && layout_of(request_.space).shift_y == 1;
  const std::size_t height = half_height ? shape.height : shape.height / fields;

  // Tables are made for luma; every plane uses their first entries.
  axis_table x = make_axis_table(crop_.width, static_cast<std::int64_t>(out_width), method_,
                                 request_.kernel_param);
  axis_table y = make_axis_table(crop_.height / fields, static_cast<std::int64_t>(out_height),
                                 method_, request_.kernel_param);
  if (shape.chroma) {
    x = limited_to(x, static_cast<std::int64_t>(source.width));
    y = limited_to(y, static_cast<std::int64_t>(source.height));
  }
  if (x_first_) return scale_y(scale_x(source, x, shape.width, format_), y, height, format_);
  return scale_x(scale_y(source, y, height, format_), x, shape.width, format_);
}

plane reference_resizer::scaled_by_fields(const plane& source, std::size_t p) const {
  const auto shape = planes_of(request_.space, request_.out_width, request_.out_height).at(p);
  plane result(shape.width, shape.height / 2 * 2);
  for (std::size_t f = 0; f < 2; ++f) {
    plane field(source.width, source.height / 2);
    for (std::size_t y = 0; y < field.height; ++y) {
      for (std::size_t x = 0; x < field.width; ++x) field.at(x, y) = source.at(x, 2 * y + f);
    }
    if (smoothing_ != 0) field = smoothed(field, smoothing_);
    const plane field_out = scaled(field, p);
    for (std::size_t y = 0; y < field_out.height; ++y) {
      for (std::size_t x = 0; x < field_out.width; ++x) {
        result.at(x, 2 * y + f) = field_out.at(x, y);
      }
    }
  }
  return result;
}

expected_frame reference_resizer::process(unsigned size, const unsigned char* in) const {
  expected_frame result;
  result.bytes.resize(output_size_);
  result.written.resize(output_size_, 0);
  const bool sets_size = in != nullptr || (!copies_ && !field_mode_);
  if (sets_size) result.out_size = output_size_;
  if (in == nullptr || output_size_ == 0) return result;

  const std::vector<std::uint16_t> source =
      crop_.refused ? std::vector<std::uint16_t>()
                    : cropped(crop_, request_, format_, read_input(size, in));
  std::size_t source_start = 0;
  std::size_t out_start = 0;
  const auto write = [&](const std::vector<std::uint16_t>& samples) {
    std::size_t byte = out_start * format_.bytes;
    for (const std::uint16_t sample : samples) {
      for (unsigned b = 0; b < format_.bytes; ++b, ++byte) {
        result.bytes.at(byte) = static_cast<unsigned char>(sample >> (8 * b));
        result.written.at(byte) = 1;
      }
    }
  };
  if (copies_) {
    write(source);
    return result;
  }

  const bool by_fields_chroma = layout_of(request_.space).shift_y == 0;
  const auto sources = planes_of(request_.space, crop_.width, crop_.height);
  const auto outputs = planes_of(request_.space, request_.out_width, request_.out_height);
  for (std::size_t p = 0; p < outputs.size(); ++p) {
    const bool chroma = outputs[p].chroma;
    plane in_plane(sources[p].width, sources[p].height);
    for (std::uint16_t& sample : in_plane.samples) sample = source.at(source_start++);

    if (in_plane.empty()) {
      write(std::vector<std::uint16_t>(outputs[p].width * outputs[p].height,
                                       chroma ? format_.neutral_chroma : 0));
    } else if (field_mode_ && (!chroma || by_fields_chroma)) {
      write(scaled_by_fields(in_plane, p).samples);
    } else {
      if (!field_mode_ && smoothing_ != 0 && !outputs[p].alpha) {
        in_plane = smoothed(in_plane, chroma ? 3 : smoothing_);
      }
      write(scaled(in_plane, p).samples);
    }
    out_start += outputs[p].width * outputs[p].height;
  }
  return result;
}

}  // namespace reference
