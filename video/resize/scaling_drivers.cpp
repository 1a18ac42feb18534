// The path of one frame: crop stage, smoothing, then the two passes plane by plane, for complete
// frames or field by field.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#include "signal/gaussian_filter.h"
#include "video/resize/colorspace.h"
#include "video/resize/video_resize_impl.h"

namespace ns_video_resize {
namespace {

void filter_gauss(const unsigned char* src, unsigned char* dst, int step, IppiSize roi, int mask) {
  ippiFilterGauss_8u_C1R(src, step, dst, step, roi, mask);
}

void filter_gauss(const unsigned short* src, unsigned short* dst, int step, IppiSize roi,
                  int mask) {
  ippiFilterGauss_16u_C1R(src, step, dst, step, roi, mask);
}

template <typename T>
std::size_t samples_of(const image_plane<T>& plane) {
  return std::size_t{plane.width} * plane.height;
}

// Callers pass 16-bit frames as bytes, at any alignment.
template <typename T>
bool is_aligned(const T* samples) {
  return reinterpret_cast<std::uintptr_t>(samples) % alignof(T) == 0;
}

// With untyped pointers: clang 19's sanitizer checks the arguments of memcpy for the alignment of
// their type.
void copy_bytes(void* to, const void* from, std::size_t count) { std::memcpy(to, from, count); }

// A field plane has the size of the luma plane and is used for every plane of full height.
template <typename T>
void resize_field(image_plane<T>& field, const image_plane<T>& frame) {
  field.width = frame.width;
  field.height = frame.height / 2;
  rebuild_rows(field);
}

}  // namespace

template <typename T>
int video_resize_impl<T>::process(unsigned int in_size, unsigned char* in, unsigned int& out_size,
                                  unsigned char* out) {
  T* const source = static_cast<T*>(static_cast<void*>(in));
  T* const target = static_cast<T*>(static_cast<void*>(out));
  if (planned && copy_only == 0 && (in_width != out_width || in_height != out_height)) {
    return field_mode != 0 ? process_field_scale(in_size, source, out_size, target)
                           : process_frame_scale(in_size, source, out_size, target);
  }
  if (in == nullptr || out == nullptr) return 1;
  out_size = output_bytes();
  if (!planned) return 1;
  std::memcpy(out, crop_stage(in_size, source, false), out_size);
  bytes_in += in_size;
  ++frames_in;
  return 1;
}

template <typename T>
int video_resize_impl<T>::process_frame_scale(unsigned int in_size, T* in, unsigned int& out_size,
                                              T* out) {
  out_size = output_bytes();
  if (in == nullptr || out == nullptr || !planned) return 1;
  T* source = crop_stage(in_size, in, smoothing != 0);
  smooth_source();
  for (unsigned int p = 0; p < plane_count; ++p) {
    select_plane(p, source);
    scale_whole(p, out);
    out += samples_of(*out_planes[p]);
    source += samples_of(*in_planes[p]);
  }
  bytes_in += in_size;
  ++frames_in;
  return 1;
}

template <typename T>
int video_resize_impl<T>::process_field_scale(unsigned int in_size, T* in, unsigned int& out_size,
                                              T* out) {
  if (in == nullptr || out == nullptr) return 1;
  out_size = output_bytes();
  if (!planned || field_mode == 0) return 1;
  T* source = crop_stage(in_size, in, false);
  for (unsigned int p = 0; p < plane_count; ++p) {
    select_plane(p, source);
    if (in_planes[p]->height == in_height && samples_of(*in_planes[p]) != 0) {
      scale_by_fields(p, out);
    } else {
      // A plane of half the height matches the tables, which are made for fields.
      scale_whole(p, out);
    }
    out += samples_of(*out_planes[p]);
    source += samples_of(*in_planes[p]);
  }
  bytes_in += in_size;
  ++frames_in;
  return 1;
}

template <typename T>
unsigned int video_resize_impl<T>::output_bytes() const {
  return planned ? out_frame_size * static_cast<unsigned int>(sizeof(T)) : 0;
}

// Returns the cropped source. It is in `crop_buffer`, unless the input is used unchanged and will
// not be written to: then it is not copied. Missing samples of a short input are transparent, black
// and colourless. Without a valid crop the buffer is not changed.
template <typename T>
T* video_resize_impl<T>::crop_stage(unsigned int in_size, T* in, bool is_written) {
  if (!cropper.ready) return crop_buffer;
  const bool cuts = !cropper.identity && cropper.crop_valid && cropper.ratio_set;
  if (!cuts && !cropper.identity) return crop_buffer;

  const std::size_t whole = frame_samples(space, cropper.in_width, cropper.in_height);
  const std::size_t given = std::min(in_size / sizeof(T), whole);
  if (cropper.identity) {
    if (given == whole && !is_written && is_aligned(in)) return in;
    if (given < whole) fill_neutral(crop_buffer, space, in_width, in_height);
    copy_bytes(crop_buffer, in, given * sizeof(T));
    return crop_buffer;
  }
  std::unique_ptr<T[]> completed;
  if (given < whole) {
    completed.reset(new T[whole]);
    fill_neutral(completed.get(), space, cropper.in_width, cropper.in_height);
    copy_bytes(completed.get(), in, given * sizeof(T));
    in = completed.get();
  }
  if (has_alpha(cropper.space)) {
    cropper.process_a_yp_cb_cr_plan(in, crop_buffer);
  } else {
    cropper.process_yp_cb_cr_plan(in, crop_buffer);
  }
  return crop_buffer;
}

// Before frame scaling: luma with the selected mask, chroma with the small one, alpha never.
template <typename T>
void video_resize_impl<T>::smooth_source() {
  if (smoothing == 0) return;
  const std::size_t luma_samples = std::size_t{in_width} * in_height;
  const unsigned int chroma_width = in_width >> chroma_shift_x(work_space);
  const unsigned int chroma_height = in_height >> chroma_shift_y(work_space);
  T* const luma = crop_buffer + (has_alpha(work_space) ? luma_samples : 0);
  T* const cb = luma + luma_samples;
  T* const cr = cb + std::size_t{chroma_width} * chroma_height;
  if (smoothing == 1) {
    smooth_3x3(luma, in_width, in_height);
  } else {
    smooth_5x5(luma, in_width, in_height);
  }
  smooth_3x3(cb, chroma_width, chroma_height);
  smooth_3x3(cr, chroma_width, chroma_height);
}

template <typename T>
void video_resize_impl<T>::select_plane(unsigned int index, T* samples) {
  point_plane_at(*in_planes[index], samples);
  x_index = x_index_vecs[index];
  y_index = y_index_vecs[index];
}

// Scales a plane directly into the output if that is aligned for samples.
template <typename T>
void video_resize_impl<T>::scale_whole(unsigned int index, T* out) {
  plane result = *out_planes[index];
  if (is_aligned(out)) result.data = out;
  if (samples_of(*in_planes[index]) == 0) {
    std::fill_n(result.data, samples_of(result), result.kind == 1 ? T{0} : neutral_chroma<T>);
  } else {
    run_passes(&result, mid_planes[index], in_planes[index]);
  }
  if (result.data != out) copy_bytes(out, result.data, samples_of(result) * sizeof(T));
}

template <typename T>
void video_resize_impl<T>::scale_by_fields(unsigned int index, T* out) {
  const plane& frame = *in_planes[index];
  const std::size_t in_row = frame.width;
  const std::size_t field_rows = in_height / 2;
  for (std::size_t row = 0; row < 2 * field_rows; ++row) {
    const std::size_t place = row / 2 + (row % 2 != 0 ? field_rows : 0);
    std::memcpy(field_scratch + place * in_row, frame.data + row * in_row, in_row * sizeof(T));
  }

  for (std::size_t field = 0; field < 2; ++field) {
    resize_field(*in_fields[field], frame);
    resize_field(*mid_fields[field], *mid_planes[index]);
    resize_field(*out_fields[field], *out_planes[index]);
    point_plane_at(*in_fields[field], field_scratch + field * field_rows * in_row);
    plane& source = *in_fields[field];
    if (smoothing == 1) smooth_3x3(source.data, source.width, source.height);
    if (smoothing == 2) smooth_5x5(source.data, source.width, source.height);
    run_passes(out_fields[field], mid_fields[field], &source);
  }

  // Interleaves the rows of both fields; with an odd number of rows the last one is not written.
  const std::size_t out_row = out_fields[0]->width;
  for (std::size_t row = 0; row < out_height / 2 * std::size_t{2}; ++row) {
    copy_bytes(out + row * out_row, out_fields[row % 2]->data + row / 2 * out_row,
               out_row * sizeof(T));
  }
}

template <typename T>
void video_resize_impl<T>::run_passes(plane* destination, plane* middle, plane* source) {
  const pass first = x_first ? x_pass : y_pass;
  const pass second = x_first ? y_pass : x_pass;
  (this->*first)(middle, source);
  (this->*second)(destination, middle);
}

template <typename T>
void video_resize_impl<T>::smooth_3x3(T* samples, unsigned int width, unsigned int height) {
  smooth(samples, width, height, 33, 1);
}

template <typename T>
void video_resize_impl<T>::smooth_5x5(T* samples, unsigned int width, unsigned int height) {
  smooth(samples, width, height, 55, 2);
}

template <typename T>
void video_resize_impl<T>::smooth(T* samples, unsigned int width, unsigned int height, int mask,
                                  unsigned int border) {
  if (width <= 2 * border || height <= 2 * border) return;
  const std::size_t count = std::size_t{width} * height;
  const std::unique_ptr<T[]> copy(new T[count]);
  std::memcpy(copy.get(), samples, count * sizeof(T));
  const std::size_t inner = std::size_t{border} * width + border;
  const IppiSize roi = {static_cast<int>(width - 2 * border),
                        static_cast<int>(height - 2 * border)};
  filter_gauss(copy.get() + inner, samples + inner, static_cast<int>(width * sizeof(T)), roi, mask);
}

template int video_resize_impl<unsigned char>::process(unsigned int, unsigned char*, unsigned int&,
                                                       unsigned char*);
template int video_resize_impl<unsigned short>::process(unsigned int, unsigned char*, unsigned int&,
                                                        unsigned char*);
template int video_resize_impl<unsigned char>::process_frame_scale(unsigned int, unsigned char*,
                                                                   unsigned int&, unsigned char*);
template int video_resize_impl<unsigned short>::process_frame_scale(unsigned int, unsigned short*,
                                                                    unsigned int&, unsigned short*);
template int video_resize_impl<unsigned char>::process_field_scale(unsigned int, unsigned char*,
                                                                   unsigned int&, unsigned char*);
template int video_resize_impl<unsigned short>::process_field_scale(unsigned int, unsigned short*,
                                                                    unsigned int&, unsigned short*);
template void video_resize_impl<unsigned char>::smooth_3x3(unsigned char*, unsigned int,
                                                           unsigned int);
template void video_resize_impl<unsigned short>::smooth_3x3(unsigned short*, unsigned int,
                                                            unsigned int);
template void video_resize_impl<unsigned char>::smooth_5x5(unsigned char*, unsigned int,
                                                           unsigned int);
template void video_resize_impl<unsigned short>::smooth_5x5(unsigned short*, unsigned int,
                                                            unsigned int);
template unsigned int video_resize_impl<unsigned char>::output_bytes() const;
template unsigned int video_resize_impl<unsigned short>::output_bytes() const;

}  // namespace ns_video_resize
