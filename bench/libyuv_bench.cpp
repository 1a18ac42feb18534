#include <libyuv.h>

#include "bench/scaling_benchmark.h"

namespace ns_bench {
namespace {

template <libyuv::FilterMode filter>
work libyuv_scale(const picture& from, const picture& to) {
  const auto& in = from.planes();
  const auto& out = to.planes();
  return [&in, &out] {
    libyuv::I420Scale(in[0].data, in[0].stride, in[1].data, in[1].stride, in[2].data, in[2].stride,
                      in[0].width, in[0].height, out[0].data, out[0].stride, out[1].data,
                      out[1].stride, out[2].data, out[2].stride, out[0].width, out[0].height,
                      filter);
  };
}

[[maybe_unused]] const bool registered =
    register_scaling("linear_420", "libyuv", yuv420_8, libyuv_scale<libyuv::kFilterBilinear>) &&
    register_scaling("nearest_420", "libyuv", yuv420_8, libyuv_scale<libyuv::kFilterNone>);

}  // namespace
}  // namespace ns_bench
