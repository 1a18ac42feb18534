#pragma once

#include <memory>
#include <vector>

#include "tests/video/resize/reference_request.h"
#include "video/resize/video_resize_impl.h"

namespace ns_video_resize {

using reference::resize_request;

/// A resizer for a request, with access to its plan.
template <typename T>
struct resizer_under_test {
  std::unique_ptr<video_resize_impl<T>> object = std::make_unique<video_resize_impl<T>>();
  int result = 0;

  explicit resizer_under_test(const resize_request& r) { init(r); }

  void init(const resize_request& r) {
    result = object->init(r.out_width, r.out_height, r.in_width, r.in_height,
                          static_cast<qor_resize::colorspace>(r.space), r.crop_left, r.crop_right,
                          r.crop_top, r.crop_bottom, r.aspect_preset, r.aspect_x, r.aspect_y,
                          r.resize_mode, r.fit_mode, r.kernel_param, r.interpolation, r.smoothing,
                          r.smoothing_level);
  }

  video_resize_impl<T>* operator->() { return object.get(); }

  /// Processes one frame; the output buffer is first filled with `fill`.
  std::vector<T> process(std::vector<T> frame, T fill = T{0x5A}) {
    std::vector<T> out(static_cast<unsigned int>(object->get_output_size()) / sizeof(T), fill);
    unsigned int out_size = 0;
    // `process` needs an address even if there is nothing to write.
    T nothing{};
    object->process(static_cast<unsigned int>(frame.size() * sizeof(T)),
                    reinterpret_cast<unsigned char*>(frame.empty() ? &nothing : frame.data()),
                    out_size,
                    reinterpret_cast<unsigned char*>(out.empty() ? &nothing : out.data()));
    return out;
  }
};

using resizer_8 = resizer_under_test<unsigned char>;
using resizer_16 = resizer_under_test<unsigned short>;

/// A request that scales complete frames of one size to another, with everything else off.
inline resize_request scale_request(int space, int in_width, int in_height, int out_width,
                                    int out_height, int interpolation = 2) {
  resize_request request;
  request.created_for = request.space = space;
  request.in_width = in_width;
  request.in_height = in_height;
  request.out_width = out_width;
  request.out_height = out_height;
  request.interpolation = interpolation;
  return request;
}

}  // namespace ns_video_resize
