// The cropper alone: fits with any numbers, and frames cropped to guarded buffers or in place.
#include "video/resize/crop.h"

#include <algorithm>
#include <vector>

#include "tests/fuzz/byte_reader.h"
#include "video/resize/colorspace.h"

namespace {

using fuzz::byte_reader;
using fuzz::require;
using ns_video_resize::crop;
using ns_video_resize::qor_resize;
using test_support::guarded_buffer;

// Larger frames are fitted but not cropped, to limit time and memory.
constexpr std::uint64_t most_samples = 100000;

std::uint64_t samples_of(qor_resize::colorspace space, std::uint64_t width, std::uint64_t height) {
  const std::uint64_t full = ns_video_resize::has_alpha(space) ? 2 : 1;
  return full * width * height + 2 * (width >> ns_video_resize::chroma_shift_x(space)) *
                                     (height >> ns_video_resize::chroma_shift_y(space));
}

template <typename T>
void cut(crop<T>& cropper, T* source, T* target) {
  if (ns_video_resize::has_alpha(cropper.space)) {
    cropper.process_a_yp_cb_cr_plan(source, target);
  } else {
    cropper.process_yp_cb_cr_plan(source, target);
  }
}

// Every sample of the planes of full size: that of the input inside, 0 in the border.
template <typename T>
void require_planes(const crop<T>& c, const T* source, const T* target) {
  const std::size_t planes = ns_video_resize::has_alpha(c.space) ? 2 : 1;
  const std::size_t kept_width = c.in_width - c.left - c.right;
  const std::size_t kept_height = c.in_height - c.top - c.bottom;
  for (std::size_t p = 0; p < planes; ++p) {
    for (std::size_t y = 0; y < c.out_height; ++y) {
      for (std::size_t x = 0; x < c.out_width; ++x) {
        const std::size_t in_x = x - c.pad_left;
        const std::size_t in_y = y - c.pad_top;
        const bool kept = in_x < kept_width && in_y < kept_height;
        const T expected =
            kept ? source[(p * c.in_height + c.top + in_y) * c.in_width + c.left + in_x] : T{0};
        require(target[(p * c.out_height + y) * c.out_width + x] == expected, "a sample");
      }
    }
  }
}

template <typename T>
void run_frame(byte_reader& in, crop<T>& cropper, std::size_t in_samples, std::size_t out_samples) {
  const test_support::protected_edge edge = in.edge();
  guarded_buffer source(in_samples * sizeof(T), edge, fuzz::pattern_of(edge));
  guarded_buffer target(out_samples * sizeof(T), edge, fuzz::pattern_of(edge));
  guarded_buffer in_place(std::max(in_samples, out_samples) * sizeof(T), edge,
                          fuzz::pattern_of(edge));
  in.fill(source.data(), source.size());
  std::copy_n(source.data(), source.size(), in_place.data());
  const std::vector<unsigned char> before(source.data(), source.data() + source.size());

  auto* const samples = reinterpret_cast<T*>(source.data());
  auto* const result = reinterpret_cast<T*>(target.data());
  cut(cropper, samples, result);
  require(std::equal(before.begin(), before.end(), source.data()), "the input was written");
  require_planes(cropper, samples, result);
  cut(cropper, reinterpret_cast<T*>(in_place.data()), static_cast<T*>(nullptr));
  if (cropper.out_width != 0 && cropper.out_height != 0) {
    require(std::equal(target.data(), target.data() + target.size(), in_place.data()),
            "the result in place");
  }
  for (const guarded_buffer* buffer : {&source, &target, &in_place}) {
    fuzz::require_undamaged(*buffer);
  }
}

// Properties of every fit: amounts and sizes match, sizes and sums of both sides are even.
template <typename T>
void require_fit(const crop<T>& c, int width, int height) {
  require(c.out_width == static_cast<unsigned int>(width), "width given and stored");
  require(c.out_height == static_cast<unsigned int>(height), "height given and stored");
  require(width >= 0 && height >= 0 && width % 2 == 0 && height % 2 == 0, "even sizes");
  require(std::uint64_t{c.left} + c.right <= c.in_width, "columns cropped");
  require(std::uint64_t{c.top} + c.bottom <= c.in_height, "rows cropped");
  require(c.out_width == c.in_width - c.left - c.right + c.pad_left + c.pad_right, "width");
  require(c.out_height == c.in_height - c.top - c.bottom + c.pad_top + c.pad_bottom, "height");
  require(((c.left & c.right) | (c.top & c.bottom) | (c.pad_left & c.pad_right) |
           (c.pad_top & c.pad_bottom)) %
                  2 ==
              0,
          "two odd sides");
}

template <typename T>
void run(byte_reader& in) {
  crop<T> cropper;
  const auto space = static_cast<qor_resize::colorspace>(in.size(9));
  const int in_width = in.size(70);
  const int in_height = in.size(70);
  const bool aspect = in.flag();
  const bool wild = in.flag();
  const float aspect_x = wild ? in.number() : static_cast<float>(in.byte());
  const float aspect_y = wild ? in.number() : static_cast<float>(in.byte());
  cropper.init(space, aspect, in_width, in_height, aspect_x, aspect_y);
  for (unsigned int* amount :
       {&cropper.user_left, &cropper.user_right, &cropper.user_top, &cropper.user_bottom,
        &cropper.pad_left, &cropper.pad_right, &cropper.pad_top, &cropper.pad_bottom}) {
    *amount = in.flag() ? static_cast<unsigned int>(in.size(40)) : 0;
  }
  cropper.crop_valid = in.byte() != 1;
  int width = -1;
  int height = -1;
  const auto target_width = static_cast<unsigned int>(in.size(70));
  const auto target_height = static_cast<unsigned int>(in.size(70));
  const auto fit_mode = static_cast<unsigned int>(in.size(3));
  const int result = cropper.set_out_ratio(target_width, target_height, fit_mode, &width, &height);
  require(result >= -1 && result <= 1, "result of the fit");
  require((result == 1) == cropper.ratio_set, "whether a fit is set");
  if (result == 1) {
    require_fit(cropper, width, height);
  } else {
    require(width == -1 && height == -1, "a refused fit wrote a size");
    T none = 77;
    cut(cropper, &none, &none);
    require(none == 77, "a frame was cut without a fit");
    return;
  }

  const std::uint64_t in_samples = samples_of(space, cropper.in_width, cropper.in_height);
  const std::uint64_t out_samples = samples_of(space, cropper.out_width, cropper.out_height);
  if (std::uint64_t{cropper.in_width} * cropper.in_height <= most_samples &&
      std::uint64_t{cropper.out_width} * cropper.out_height <= most_samples) {
    run_frame(in, cropper, in_samples, out_samples);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  byte_reader in(data, size);
  if (in.flag()) {
    run<unsigned char>(in);
  } else {
    run<unsigned short>(in);
  }
  return 0;
}
