extern "C" {
#include <libswscale/swscale.h>
}

#include <memory>
#include <stdexcept>

#include "bench/scaling_benchmark.h"

namespace ns_bench {
namespace {

template <int method>
work swscale(const picture& from, const picture& to) {
  const auto& in = from.planes();
  const auto& out = to.planes();
  const std::shared_ptr<SwsContext> context(
      sws_getContext(in[0].width, in[0].height, AV_PIX_FMT_YUV420P, out[0].width, out[0].height,
                     AV_PIX_FMT_YUV420P, method, nullptr, nullptr, nullptr),
      sws_freeContext);
  if (context == nullptr) throw std::runtime_error("swscale: no context");
  return [context, &in, &out] {
    const unsigned char* const sources[] = {in[0].data, in[1].data, in[2].data};
    const int source_strides[] = {in[0].stride, in[1].stride, in[2].stride};
    unsigned char* const targets[] = {out[0].data, out[1].data, out[2].data};
    const int target_strides[] = {out[0].stride, out[1].stride, out[2].stride};
    sws_scale(context.get(), sources, source_strides, 0, in[0].height, targets, target_strides);
  };
}

[[maybe_unused]] const bool registered =
    register_scaling("cubic_420", "swscale", yuv420_8, swscale<SWS_BICUBIC>) &&
    register_scaling("linear_420", "swscale", yuv420_8, swscale<SWS_BILINEAR>);

}  // namespace
}  // namespace ns_bench
