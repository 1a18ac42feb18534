#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "tests/signal/variant_scope.h"
#include "tests/video/resize/resizer_under_test.h"
#include "video/resize/colorspace.h"

// The resizer with every variant that the machine has, against the portable one, whose weighted
// passes are the sequence of primitives itself.

namespace ns_video_resize {
namespace {

using ns_signal::variant;

resize_request random_request(std::mt19937& random, bool wide) {
  const auto between = [&random](int low, int high) {
    return low + static_cast<int>(random() % static_cast<unsigned int>(high - low + 1));
  };
  resize_request request;
  request.space = wide ? between(7, 8) : between(1, 6);
  request.in_width = 2 * between(1, 150);
  request.in_height = 2 * between(1, 12);
  request.out_width = between(1, 400);
  request.out_height = between(1, 30);
  request.interpolation = between(1, 4);
  request.resize_mode = 2 * between(0, 1);
  request.kernel_param = static_cast<float>(between(-150, 50)) / 100.0f;
  request.smoothing = between(0, 2);
  request.crop_left = 2 * between(0, 1);
  return request;
}

template <typename T>
std::vector<T> scaled_with(const variant& v, const resize_request& request,
                           const std::vector<T>& frame) {
  const variant_scope scope(v);
  EXPECT_STREQ(ns_signal::current_variant().name, v.name);
  return resizer_under_test<T>(request).process(frame);
}

template <typename T>
void compare_with_portable(const variant& v) {
  std::mt19937 random(77);
  for (int i = 0; i < 250; ++i) {
    const resize_request request = random_request(random, sizeof(T) == 2);
    std::vector<T> frame(frame_samples(static_cast<qor_resize::colorspace>(request.space),
                                       static_cast<unsigned int>(request.in_width),
                                       static_cast<unsigned int>(request.in_height)));
    // Flat at the limits here and there, so that overshoots are clipped.
    for (std::size_t j = 0; j < frame.size(); ++j) {
      frame[j] =
          j / 7 % 3 == 0 ? static_cast<T>(j / 21 % 2 == 0 ? 0 : ~0u) : static_cast<T>(random());
    }
    ASSERT_EQ(scaled_with(v, request, frame),
              scaled_with(ns_signal::portable_variant, request, frame))
        << v.name << ": " << request;
  }
}

class FusedPasses : public testing::TestWithParam<const variant*> {};

TEST_P(FusedPasses, EightBits) { compare_with_portable<unsigned char>(*GetParam()); }

TEST_P(FusedPasses, SixteenBits) { compare_with_portable<unsigned short>(*GetParam()); }

std::string name_of(const testing::TestParamInfo<const variant*>& info) {
  return spelled(info.param);
}

INSTANTIATE_TEST_SUITE_P(Levels, FusedPasses, testing::ValuesIn(runnable_variants()), name_of);

}  // namespace
}  // namespace ns_video_resize
