#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "tests/signal/float_settings.h"
#include "tests/signal/variant_scope.h"
#include "tests/video/resize/resizer_under_test.h"
#include "video/resize/colorspace.h"

// The resizer with every variant that the machine supports, compared with the portable one, whose
// weighted passes are the sequence of primitives.

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
    // Partly flat at the limits, so that overshoots are clamped.
    for (std::size_t j = 0; j < frame.size(); ++j) {
      frame[j] =
          j / 7 % 3 == 0 ? static_cast<T>(j / 21 % 2 == 0 ? 0 : ~0u) : static_cast<T>(random());
    }
    ASSERT_EQ(scaled_with(v, request, frame),
              scaled_with(ns_signal::portable_variant, request, frame))
        << v.name << ": " << request;
  }
}

// Sizes at which the passes change their step: around a strip of columns, and groups of four rows.
template <typename T>
void compare_around_a_strip(const variant& v) {
  std::mt19937 random(78);
  for (const int width : {2046, 2048, 2050, 4100}) {
    for (const int rows : {3, 4, 5}) {
      for (const int interpolation : {1, 2, 4}) {
        const resize_request request =
            scale_request(sizeof(T) == 1 ? 4 : 8, width, 2 * rows, width, rows * 3, interpolation);
        std::vector<T> frame(static_cast<std::size_t>(width * rows * 6));
        for (T& sample : frame) sample = static_cast<T>(random());
        ASSERT_EQ(scaled_with(v, request, frame),
                  scaled_with(ns_signal::portable_variant, request, frame))
            << v.name << ": " << request;
      }
    }
  }
}

// With any settings of the caller, in `init` and in `process`.
template <typename T>
void compare_settings(const variant& v) {
  std::mt19937 random(79);
  resize_request request = scale_request(sizeof(T) == 1 ? 4 : 8, 50, 30, 73, 41, 3);
  request.aspect_preset = 2;
  request.fit_mode = 2;
  std::vector<T> frame(50 * 30 * 3);
  for (T& sample : frame) sample = static_cast<T>(random());
  const std::vector<T> expected = scaled_with(v, request, frame);
  for (const unsigned int word : float_settings::all()) {
    const float_settings::scope settings(word);
    ASSERT_EQ(scaled_with(v, request, frame), expected) << v.name << ", settings " << word;
  }
}

class FusedPasses : public testing::TestWithParam<const variant*> {};

TEST_P(FusedPasses, EightBits) { compare_with_portable<unsigned char>(*GetParam()); }

TEST_P(FusedPasses, SixteenBits) { compare_with_portable<unsigned short>(*GetParam()); }

TEST_P(FusedPasses, AroundAStrip) {
  compare_around_a_strip<unsigned char>(*GetParam());
  compare_around_a_strip<unsigned short>(*GetParam());
}

TEST_P(FusedPasses, UnderEveryCallersSettings) {
  compare_settings<unsigned char>(*GetParam());
  compare_settings<unsigned short>(*GetParam());
}

std::string name_of(const testing::TestParamInfo<const variant*>& info) {
  return spelled(info.param);
}

INSTANTIATE_TEST_SUITE_P(Levels, FusedPasses, testing::ValuesIn(runnable_variants()), name_of);

}  // namespace
}  // namespace ns_video_resize
