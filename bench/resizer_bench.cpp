#include <cstring>
#include <memory>
#include <stdexcept>
#include <vector>

#include "bench/level.h"
#include "bench/scaling_benchmark.h"
#include "video/resize/qor_resize.h"

namespace ns_bench {
namespace {

using ns_video_resize::qor_resize;

template <int method, qor_resize::colorspace space>
work resize(const picture& from, const picture& to) {
  const std::shared_ptr<qor_resize> resizer(qor_resize::create(space), qor_resize::destroy);
  apply_level();
  const picture::plane& in = from.planes()[0];
  const picture::plane& out = to.planes()[0];
  if (resizer->init(out.width, out.height, in.width, in.height, space, 0, 0, 0, 0, 0, 0.0f, 0.0f, 0,
                    0, -0.5f, method, 0, 0) != 1) {
    throw std::runtime_error("resizer: no plan");
  }
  return [resizer, &from, &to] {
    unsigned int size = 0;
    resizer->process(static_cast<unsigned int>(from.size()), from.data(), size, to.data());
  };
}

// A copy of the output's bytes: the minimum for any code that writes a picture of this size.
work copy(const picture&, const picture& to) {
  const auto source =
      std::make_shared<std::vector<unsigned char>>(to.data(), to.data() + to.size());
  return [source, &to] { std::memcpy(to.data(), source->data(), to.size()); };
}

[[maybe_unused]] const bool registered =
    register_scaling("cubic_420", "ours", yuv420_8, resize<2, qor_resize::yuv420>) &&
    register_scaling("cubic_420", "copy", yuv420_8, copy) &&
    register_scaling("linear_420", "ours", yuv420_8, resize<1, qor_resize::yuv420>) &&
    register_scaling("linear_420", "copy", yuv420_8, copy) &&
    register_scaling("nearest_420", "ours", yuv420_8, resize<4, qor_resize::yuv420>) &&
    register_scaling("nearest_420", "copy", yuv420_8, copy) &&
    register_scaling("cubic_422_16", "ours", yuv422_16, resize<2, qor_resize::yuv422_16>) &&
    register_scaling("cubic_422_16", "copy", yuv422_16, copy);

}  // namespace
}  // namespace ns_bench
