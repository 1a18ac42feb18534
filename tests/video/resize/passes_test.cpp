#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <vector>

#include "tests/video/resize/resizer_under_test.h"
#include "video/resize/pixel_conversion.h"

namespace ns_video_resize {
namespace {

// A resizer that only runs passes; tables and scratch rows are set by the test.
template <typename T>
class pass_bench {
 public:
  pass_bench(unsigned int taps, std::vector<unsigned int> index,
             std::vector<std::vector<float>> weights, unsigned int length)
      : index_(std::move(index)), weights_(std::move(weights)) {
    for (auto& row : weights_) weight_rows_.push_back(row.data());
    for (unsigned int k = 0; k < taps; ++k) {
      lines_.emplace_back(length);
      float_lines_.emplace_back(length);
    }
    for (auto& line : lines_) line_rows_.push_back(line.data());
    for (auto& line : float_lines_) float_rows_.push_back(line.data());
    object_.taps = taps;
    object_.x_index = object_.y_index = index_.data();
    object_.x_weight_vecs = object_.y_weight_vecs = weight_rows_.data();
    object_.line_buffers = line_rows_.data();
    object_.float_lines = float_rows_.data();
  }

  ~pass_bench() {
    // The resizer owns none of these.
    object_.taps = 0;
    object_.x_weight_vecs = object_.y_weight_vecs = nullptr;
    object_.line_buffers = nullptr;
    object_.float_lines = nullptr;
  }

  std::vector<T> run(typename video_resize_impl<T>::pass pass, std::vector<T> source,
                     unsigned int in_width, unsigned int in_height, unsigned int out_width,
                     unsigned int out_height) {
    std::vector<T> result(std::size_t{out_width} * out_height, T{0x3C});
    image_plane<T> from{in_width, in_height, 1, source.data(), nullptr, false};
    image_plane<T> to{out_width, out_height, 1, result.data(), nullptr, false};
    (object_.*pass)(&to, &from);
    return result;
  }

 private:
  video_resize_impl<T> object_;
  std::vector<unsigned int> index_;
  std::vector<std::vector<float>> weights_;
  std::vector<float*> weight_rows_;
  std::vector<std::vector<T>> lines_;
  std::vector<T*> line_rows_;
  std::vector<std::vector<float>> float_lines_;
  std::vector<float*> float_rows_;
};

using impl_8 = video_resize_impl<unsigned char>;
using impl_16 = video_resize_impl<unsigned short>;

std::vector<unsigned char> counting(std::size_t count) {
  std::vector<unsigned char> samples(count);
  std::iota(samples.begin(), samples.end(), static_cast<unsigned char>(1));
  return samples;
}

TEST(NearestPasses, CopyTheIndexedColumns) {
  for (const unsigned int width : {1u, 7u, 8u, 9u, 15u, 16u, 17u, 64u, 65u, 200u}) {
    std::vector<unsigned int> index(width);
    for (unsigned int j = 0; j < width; ++j) index[j] = j * 19 / width + 1;
    const std::vector<unsigned char> source = counting(60);
    pass_bench<unsigned char> bench(1, index, {}, 20);
    const auto result = bench.run(&impl_8::scale_x_integer, source, 20, 3, width, 3);
    for (unsigned int r = 0; r < 3; ++r) {
      for (unsigned int j = 0; j < width; ++j) {
        ASSERT_EQ(result[r * width + j], source[r * 20 + index[j]]) << width;
      }
    }
  }
}

TEST(NearestPasses, CopyTheIndexedRows) {
  for (const unsigned int height : {0u, 1u, 7u, 8u, 9u, 16u}) {
    std::vector<unsigned int> index(height + 1);
    for (unsigned int r = 0; r < height; ++r) index[r] = (r * 5 + 2) % 9;
    const std::vector<unsigned char> source = counting(45);
    pass_bench<unsigned char> bench(1, index, {}, 20);
    const auto result = bench.run(&impl_8::scale_y_integer, source, 5, 9, 5, height);
    for (unsigned int r = 0; r < height; ++r) {
      for (unsigned int j = 0; j < 5; ++j) ASSERT_EQ(result[r * 5 + j], source[index[r] * 5 + j]);
    }
  }
}

TEST(WeightedPasses, OneFullWeightCopiesItsTap) {
  const std::vector<unsigned char> source = counting(40);
  for (unsigned int tap = 0; tap < 4; ++tap) {
    std::vector<std::vector<float>> weights(4, std::vector<float>(10, 0.0f));
    weights[tap].assign(10, 1.0f);
    const std::vector<unsigned int> index = {0, 1, 2, 3, 4, 5, 6, 0, 3, 6};
    pass_bench<unsigned char> bench(4, index, weights, 40);
    const auto columns = bench.run(&impl_8::scale_x_float, source, 10, 4, 10, 4);
    for (unsigned int r = 0; r < 4; ++r) {
      for (unsigned int j = 0; j < 10; ++j) {
        ASSERT_EQ(columns[r * 10 + j], source[r * 10 + index[j] + tap]);
      }
    }
    const auto rows = bench.run(&impl_8::scale_y_float, source, 4, 10, 4, 10);
    for (unsigned int r = 0; r < 10; ++r) {
      for (unsigned int j = 0; j < 4; ++j)
        ASSERT_EQ(rows[r * 4 + j], source[(index[r] + tap) * 4 + j]);
    }
  }
}

TEST(WeightedPasses, NothingHappensWithoutRows) {
  pass_bench<unsigned char> bench(2, {0}, {{1.0f}, {0.0f}}, 4);
  EXPECT_TRUE(bench.run(&impl_8::scale_x_float, counting(4), 4, 0, 1, 0).empty());
  EXPECT_TRUE(bench.run(&impl_8::scale_y_float, counting(4), 4, 1, 4, 0).empty());
}

TEST(WeightedPasses, TapsBeyondTheLastSampleReadIt) {
  const std::vector<std::vector<float>> weights(4, std::vector<float>(3, 0.25f));
  pass_bench<unsigned char> bench(4, {0, 0, 0}, weights, 4);
  // (100 + 3 x 200) / 4 = 175
  EXPECT_EQ(bench.run(&impl_8::scale_x_float, {100, 200}, 2, 1, 3, 1),
            (std::vector<unsigned char>{175, 175, 175}));
  EXPECT_EQ(bench.run(&impl_8::scale_y_float, {100, 200}, 1, 2, 1, 3),
            (std::vector<unsigned char>{175, 175, 175}));
  EXPECT_EQ(bench.run(&impl_8::scale_y_float, {60}, 1, 1, 1, 3),
            (std::vector<unsigned char>{60, 60, 60}));
}

// Taps are added from tap 0 to the last: with weights of very different size, the result depends on
// the order.
TEST(WeightedPasses, SumTapByTap) {
  const float big = 16777216.0f;  // 2^24, where adding 1 has no effect
  const std::vector<std::vector<float>> weights = {{big}, {1.0f}, {-big}, {1.0f}};
  pass_bench<unsigned char> bench(4, {0}, weights, 4);
  // ((2^24 + 1) - 2^24) + 1 = 0 + 1
  EXPECT_EQ(bench.run(&impl_8::scale_x_float, {1, 1, 1, 1}, 4, 1, 1, 1)[0], 1);
  EXPECT_EQ(bench.run(&impl_8::scale_y_float, {1, 1, 1, 1}, 1, 4, 1, 1)[0], 1);
}

TEST(Stores, EightBitsRoundToNearestEvenAndSaturate) {
  const std::vector<float> values = {127.5f, 126.5f, 127.51f, 254.5f, 255.5f, 300.0f, -0.4f, -9.0f};
  std::vector<unsigned char> result(values.size());
  convert_f32_to_pixel(result.data(), values.data(), static_cast<unsigned int>(values.size()));
  EXPECT_EQ(result, (std::vector<unsigned char>{128, 126, 128, 254, 255, 255, 0, 0}));
}

TEST(Stores, SixteenBitsTruncateAndSaturate) {
  const float infinity = std::numeric_limits<float>::infinity();
  EXPECT_EQ(truncate_to_16u(127.9f), 127);
  EXPECT_EQ(truncate_to_16u(65535.7f), 65535);
  EXPECT_EQ(truncate_to_16u(65535.0f), 65535);
  EXPECT_EQ(truncate_to_16u(65534.99f), 65534);
  EXPECT_EQ(truncate_to_16u(65536.0f), 65535);
  EXPECT_EQ(truncate_to_16u(1e6f), 65535);
  EXPECT_EQ(truncate_to_16u(2147483648.0f), 65535);
  EXPECT_EQ(truncate_to_16u(1e30f), 65535);
  EXPECT_EQ(truncate_to_16u(infinity), 65535);
  EXPECT_EQ(truncate_to_16u(-0.3f), 0);
  EXPECT_EQ(truncate_to_16u(0.9f), 0);
  EXPECT_EQ(truncate_to_16u(-1e30f), 0);
  EXPECT_EQ(truncate_to_16u(-infinity), 0);
  EXPECT_EQ(truncate_to_16u(std::nanf("")), 0);
  EXPECT_EQ(truncate_to_16u(-std::nanf("")), 0);
}

TEST(Stores, PassesOf16BitsTruncate) {
  pass_bench<unsigned short> bench(2, {0, 0}, {{0.5f, 0.999f}, {0.5f, 0.0f}}, 4);
  // 0.5 x 1000 + 0.5 x 1001 = 1000.5; 0.999 x 1000 = 999.0000024 or just below.
  const auto result = bench.run(&impl_16::scale_x_float, {1000, 1001}, 2, 1, 2, 1);
  EXPECT_EQ(result[0], 1000);
  EXPECT_EQ(result[1], static_cast<unsigned short>(1000.0f * 0.999f));
}

TEST(Stores, AStepOvershootsAndIsClipped) {
  std::vector<unsigned char> step(16 * 2, 0);
  for (int i = 0; i < 32; ++i) step[i] = i % 16 < 8 ? 0 : 255;
  std::vector<unsigned char> frame = step;
  frame.resize(16 * 2 * 3, 128);
  resizer_8 r(scale_request(4, 16, 2, 64, 2));
  ASSERT_EQ(r.result, 1);
  const auto result = r.process(frame);
  EXPECT_EQ(*std::min_element(result.begin(), result.begin() + 64), 0);
  EXPECT_EQ(*std::max_element(result.begin(), result.begin() + 64), 255);
  // The lobes would exceed both limits: next to the edge the picture is flat at its limits.
  for (int j = 0; j < 28; ++j) EXPECT_EQ(result[j], 0) << j;
  for (int j = 36; j < 64; ++j) EXPECT_EQ(result[j], 255) << j;

  std::vector<unsigned short> wide(frame.size());
  for (std::size_t i = 0; i < wide.size(); ++i)
    wide[i] = static_cast<unsigned short>(frame[i] * 257);
  resizer_16 r16(scale_request(8, 16, 2, 64, 2));
  const auto wide_result = r16.process(wide);
  for (int j = 0; j < 28; ++j) EXPECT_EQ(wide_result[j], 0) << j;
  EXPECT_EQ(wide_result[36], 65535);
}

TEST(Conversions, AreExactForEverySample) {
  std::vector<unsigned short> samples(65536);
  std::iota(samples.begin(), samples.end(), static_cast<unsigned short>(0));
  std::vector<float> floats(65536);
  convert_pixel_to_f32(floats.data(), samples.data(), 65536);
  for (int i = 0; i < 65536; ++i) ASSERT_EQ(floats[i], static_cast<float>(i));
  std::vector<unsigned char> bytes(256);
  std::iota(bytes.begin(), bytes.end(), static_cast<unsigned char>(0));
  convert_pixel_to_f32(floats.data(), bytes.data(), 256);
  for (int i = 0; i < 256; ++i) ASSERT_EQ(floats[i], static_cast<float>(i));
}

}  // namespace
}  // namespace ns_video_resize
