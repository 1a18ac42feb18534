// The plan: sizes, order of passes, kernel, smoothing, and every buffer that a frame needs.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "signal/float_environment.h"
#include "video/resize/colorspace.h"
#include "video/resize/video_resize_impl.h"

namespace ns_video_resize {
namespace {

constexpr std::uint64_t largest_frame = 0x7FFFFFFF;  // bytes; `get_output_size` returns an int
constexpr std::size_t clip_range = 1024;

// Whether frames of this layout and size are possible and their bytes fit in 31 bits.
bool fits(qor_resize::colorspace space, std::uint64_t width, std::uint64_t height,
          std::size_t sample_size) {
  return is_layout(space) && width * height <= largest_frame &&
         frame_samples(space, width, height) * sample_size <= largest_frame;
}

struct aspect {
  bool enabled;
  float x, y;
};

aspect source_aspect(int preset, float custom_x, float custom_y) {
  switch (preset) {
    case 0:
      return {false, 0.0f, 0.0f};
    case 2:
      return {true, 4.0f, 3.0f};
    case 3:
      return {true, 16.0f, 9.0f};
    case 4:
      return {true, 2.21f, 1.0f};
    case 5:
      return {true, 5.0f, 4.0f};
    default:
      return {true, custom_x, custom_y};
  }
}

// Crop amounts are compared as unsigned: a negative one exceeds the size of every frame.
bool leaves_something(int first, int second, unsigned int size) {
  return std::uint64_t{static_cast<unsigned int>(first)} + static_cast<unsigned int>(second) < size;
}

// Crops or pads the available size to the wanted size, by half of the difference on each side.
void centre(unsigned int wanted, unsigned int size, int& crop_first, int& crop_second, int& pad) {
  const int available = static_cast<int>(size) - (crop_first + crop_second);
  const int difference = static_cast<int>(wanted) - available;
  if (difference > 0) {
    pad = difference >> 1;
  } else {
    const int extra = -difference >> 1;
    crop_first += extra;
    crop_second += extra;
  }
}

template <typename Pointer>
void free_array(Pointer*& array) {
  delete[] array;
  array = nullptr;
}

}  // namespace

template <typename T>
video_resize_impl<T>::video_resize_impl()
    : clip_table(new unsigned char[clip_range + 256 + clip_range]) {
  for (std::size_t i = 0; i < clip_range; ++i) {
    clip_table[i] = 0;
    clip_table[clip_range + 256 + i] = 255;
  }
  for (std::size_t i = 0; i < 256; ++i) clip_table[clip_range + i] = static_cast<unsigned char>(i);
}

template <typename T>
video_resize_impl<T>::~video_resize_impl() {
  free_interpol_vecs();
  free_array(clip_table);
  release_plan();
}

template <typename T>
int video_resize_impl<T>::init(int wanted_width, int wanted_height, int source_width,
                               int source_height, colorspace layout, int crop_left, int crop_right,
                               int crop_top, int crop_bottom, int aspect_preset, float aspect_x,
                               float aspect_y, int resize_mode, int fit_mode, float parameter,
                               int method, int wanted_smoothing, int smoothing_level) {
  const ns_signal::float_environment plain_arithmetic;
  release_plan();
  const aspect display = source_aspect(aspect_preset, aspect_x, aspect_y);
  out_width = static_cast<unsigned int>(wanted_width);
  out_height = static_cast<unsigned int>(wanted_height);
  space = work_space = layout;
  aspect_fixed = display.enabled ? 1 : 0;
  field_mode = resize_mode == 2 ? 1 : 0;
  copy_only = resize_mode != 0 && resize_mode != 2 ? 1 : 0;
  in_width = static_cast<unsigned int>(source_width);
  in_height = static_cast<unsigned int>(source_height);
  if ((in_width & 1) != 0 || (in_height & 1) != 0) return -1;
  // Impossible sizes are detected here but reported only after the interpolation is checked.
  bool possible = wanted_width >= 0 && wanted_height >= 0 && source_width >= 0 &&
                  source_height >= 0 && fits(space, in_width, in_height, sizeof(T));

  const bool with_aspect = copy_only == 0 && display.enabled;
  cropper.init(space, with_aspect, source_width, source_height, display.x, display.y);
  if (possible) store_crop({crop_left, crop_right, crop_top, crop_bottom});
  int kept_width = 0;
  int kept_height = 0;
  possible &= cropper.set_out_ratio(out_width, out_height, static_cast<unsigned int>(fit_mode),
                                    &kept_width, &kept_height) != 0;
  in_width = static_cast<unsigned int>(kept_width);
  in_height = static_cast<unsigned int>(kept_height);
  if (copy_only != 0) {
    out_width = in_width;
    out_height = in_height;
  } else {
    kernel_param = parameter;
    interpolation = static_cast<unsigned int>(method);
    choose_pass_order();
    choose_smoothing(wanted_smoothing);
    if (!choose_taps()) return 0;
    smoothing_strength = (100u - static_cast<unsigned int>(smoothing_level)) >> 2;
  }

  if (!possible || !fits(space, in_width, in_height, sizeof(T)) ||
      !fits(space, out_width, out_height, sizeof(T)) ||
      !fits(space, mid_width, mid_height, sizeof(T))) {
    return -1;
  }
  out_frame_size = static_cast<unsigned int>(frame_samples(space, out_width, out_height));
  in_frame_size = static_cast<unsigned int>(frame_samples(space, in_width, in_height));
  if (copy_only == 0 && out_frame_size != 0) {
    make_planes();
    init_interpol_vecs();
    out_buffer = new T[out_frame_size];
    make_lines();
  }
  crop_buffer = new T[in_frame_size];
  fill_neutral(crop_buffer, space, in_width, in_height);
  planned = true;
  return 1;
}

template <typename T>
int video_resize_impl<T>::get_output_size() {
  return static_cast<int>(output_bytes());
}

// Passes the requested crop to the cropper, unless nothing would be left.
template <typename T>
void video_resize_impl<T>::store_crop(crop_amounts amounts) {
  if (!cropper.ready || !leaves_something(amounts.top, amounts.bottom, in_height) ||
      !leaves_something(amounts.left, amounts.right, in_width)) {
    return;
  }
  int pad_x = 0;
  int pad_y = 0;
  if (copy_only != 0) {
    centre(out_width, in_width, amounts.left, amounts.right, pad_x);
    centre(out_height, in_height, amounts.top, amounts.bottom, pad_y);
    // A wanted size of 0 crops everything.
    if (!leaves_something(amounts.top, amounts.bottom, in_height) ||
        !leaves_something(amounts.left, amounts.right, in_width)) {
      return;
    }
  }
  cropper.user_left = static_cast<unsigned int>(amounts.left);
  cropper.user_right = static_cast<unsigned int>(amounts.right);
  cropper.user_top = static_cast<unsigned int>(amounts.top);
  cropper.user_bottom = static_cast<unsigned int>(amounts.bottom);
  cropper.pad_left = cropper.pad_right = static_cast<unsigned int>(pad_x);
  cropper.pad_top = cropper.pad_bottom = static_cast<unsigned int>(pad_y);
  cropper.crop_valid = true;
}

// The order of the passes: along x first only if neither size is reduced.
template <typename T>
void video_resize_impl<T>::choose_pass_order() {
  x_first = out_width >= in_width && out_height >= in_height;
  mid_width = x_first ? out_width : in_width;
  mid_height = x_first ? in_height : out_height;
  x_pass =
      interpolation == 4 ? &video_resize_impl::scale_x_integer : &video_resize_impl::scale_x_float;
  y_pass =
      interpolation == 4 ? &video_resize_impl::scale_y_integer : &video_resize_impl::scale_y_float;
}

template <typename T>
void video_resize_impl<T>::choose_smoothing(int wanted) {
  const float shrink_x = static_cast<float>(in_width) / static_cast<float>(out_width);
  const float shrink_y = static_cast<float>(in_height) / static_cast<float>(out_height);
  const bool strong = shrink_x > 1.7f || shrink_y > 1.7f;
  const bool very_strong = shrink_x > 3.8f || shrink_y > 3.8f;
  if (wanted == 0) {
    smoothing = 0;
  } else if (very_strong) {
    smoothing = 2;
  } else {
    smoothing = strong || wanted == 2 ? 1 : 0;
  }
}

// False for an undefined method.
template <typename T>
bool video_resize_impl<T>::choose_taps() {
  if (interpolation == 0) interpolation = 2;
  switch (interpolation) {
    case 1:
      taps = 2;
      return true;
    case 2:
    case 3:
      taps = 4;
      return true;
    case 4:
      taps = 1;
      return true;
    default:
      return false;
  }
}

template <typename T>
void video_resize_impl<T>::make_planes() {
  plane_count = has_alpha(space) ? 4 : 3;
  in_planes = new plane*[plane_count]();
  mid_planes = new plane*[plane_count]();
  out_planes = new plane*[plane_count]();
  for (unsigned int p = 0; p < plane_count; ++p) {
    const bool chroma = p + 2 >= plane_count;
    const unsigned int kind = chroma ? 2 : 1;
    const unsigned int shift_x = chroma ? chroma_shift_x(space) : 0;
    const unsigned int shift_y = chroma ? chroma_shift_y(space) : 0;
    in_planes[p] = make_plane<T>(in_width >> shift_x, in_height >> shift_y, kind);
    mid_planes[p] = make_plane<T>(mid_width >> shift_x, mid_height >> shift_y, kind);
    out_planes[p] = make_plane<T>(out_width >> shift_x, out_height >> shift_y, kind);
  }
  field_scratch = new T[std::size_t{in_width} * in_height];
  for (int field = 0; field < 2; ++field) {
    in_fields[field] = make_plane<T>(in_width, in_height >> 1, 1);
    mid_fields[field] = make_plane<T>(mid_width, mid_height >> 1, 1);
    out_fields[field] = make_plane<T>(out_width, out_height >> 1, 1);
  }
}

template <typename T>
void video_resize_impl<T>::make_lines() {
  const std::size_t length = std::max({in_width, in_height, out_width, out_height});
  line_buffers = new T*[taps]();
  float_lines = new float*[taps]();
  for (unsigned int tap = 0; tap < taps; ++tap) {
    line_buffers[tap] = new T[length];
    float_lines[tap] = new float[length];
  }

  constexpr std::size_t alignment = 64;  // bytes of the widest register
  constexpr std::size_t floats = alignment / sizeof(float);
  const std::size_t stride = (length + ns_signal::columns_padding) / floats * floats + floats;
  const std::size_t count = ns_signal::columns_rows * stride;
  kernel_block_ = std::make_unique<float[]>(count + floats);
  std::size_t room = (count + floats) * sizeof(float);
  void* first = kernel_block_.get();
  std::align(alignment, count * sizeof(float), first, room);
  for (std::size_t i = 0; i < ns_signal::columns_rows; ++i) {
    kernel_lines_[i] = static_cast<float*>(first) + i * stride;
  }
}

// Returns to the state of a new object, at whatever point `init` has stopped.
template <typename T>
void video_resize_impl<T>::release_plan() {
  free_interpol_vecs();
  for (unsigned int p = 0; p < plane_count; ++p) {
    for (plane** set : {in_planes, mid_planes, out_planes}) {
      if (set != nullptr) release_plane(set[p]);
    }
  }
  free_array(in_planes);
  free_array(mid_planes);
  free_array(out_planes);
  for (unsigned int tap = 0; tap < taps; ++tap) {
    if (line_buffers != nullptr) delete[] line_buffers[tap];
    if (float_lines != nullptr) delete[] float_lines[tap];
  }
  free_array(line_buffers);
  free_array(float_lines);
  kernel_block_.reset();
  free_array(work_buffer);
  free_array(out_buffer);
  for (auto* fields : {&in_fields, &mid_fields, &out_fields}) {
    for (plane*& field : *fields) {
      release_plane(field);
      field = nullptr;
    }
  }
  free_array(field_scratch);
  free_array(crop_buffer);

  planned = false;
  cropper = crop<T>();
  plane_count = bytes_in = frames_in = taps = interpolation = 0;
  mid_width = mid_height = out_frame_size = in_frame_size = 0;
  smoothing = smoothing_strength = 0;
  kernel_param = -0.5f;
  x_first = false;
  x_pass = y_pass = nullptr;
}

template class video_resize_impl<unsigned char>;
template class video_resize_impl<unsigned short>;

}  // namespace ns_video_resize
