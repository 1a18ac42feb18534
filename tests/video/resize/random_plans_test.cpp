// The resizer compared with the reference implementation, byte for byte, for random plans. A
// failure prints the seed of its case; RESIZE_SEED=<seed> RESIZE_CASES=1 runs that case alone.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "tests/support/guarded_buffer.h"
#include "tests/video/resize/reference_resizer.h"
#include "video/resize/qor_resize.h"

namespace {

using ns_video_resize::qor_resize;
using reference::expected_frame;
using reference::reference_resizer;
using reference::resize_request;
using test_support::fill_pattern;
using test_support::guarded_buffer;
using test_support::protected_edge;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::uint64_t default_cases = 1500;
#else
constexpr std::uint64_t default_cases = 12000;
#endif

// Plans with more samples per frame are drawn again.
constexpr double most_samples = 400000;

class dice {
 public:
  explicit dice(std::uint64_t seed) : engine_(seed) {}
  /// 0 to n - 1.
  int below(int n) { return static_cast<int>(engine_() % static_cast<std::uint64_t>(n)); }
  int between(int low, int high) { return low + below(high - low + 1); }
  bool percent(int p) { return below(100) < p; }
  template <typename T>
  T one_of(std::initializer_list<T> values) {
    return *(values.begin() + below(static_cast<int>(values.size())));
  }

 private:
  std::mt19937_64 engine_;  // the same numbers with every C++ library
};

int random_size(dice& d) {
  const int kind = d.below(100);
  if (kind < 30) return d.between(1, 9);
  if (kind < 90) return d.between(1, 80);
  if (kind < 98) return d.between(81, 200);
  return d.between(201, 700);
}

int random_in_size(dice& d) {
  if (d.percent(1)) return d.one_of({0, 1, -2, 31, std::numeric_limits<int>::min()});
  return (random_size(d) + 1) & ~1;
}

int random_out_size(dice& d, int in) {
  const int kind = d.below(100);
  if (kind < 12) return in;
  if (kind < 20) return in / 2;
  if (kind < 26) return in * 2;
  if (kind < 34) return in / d.between(3, 5);
  if (kind < 36) return 1;
  if (kind < 37) return d.one_of({0, -1, 1 << 30, std::numeric_limits<int>::max()});
  return random_size(d);
}

void random_crop(dice& d, int in, int& first, int& second) {
  const int kind = d.below(100);
  if (kind < 60 || in <= 0) return;
  if (kind < 97) {
    first = d.below(in / 3 + 1);
    second = d.below(in / 3 + 1);
  } else if (kind < 98) {
    first = d.below(in);
    second = in - first - d.between(-1, 2);  // close to being rejected
  } else {
    first = d.one_of({-1, in, in + 1, std::numeric_limits<int>::max()});
    second = d.one_of({0, 1, -1, std::numeric_limits<int>::max(), 2});
  }
}

float random_aspect(dice& d) {
  constexpr float infinity = std::numeric_limits<float>::infinity();
  if (d.percent(4)) {
    return d.one_of({0.0F, -1.0F, infinity, std::numeric_limits<float>::quiet_NaN(), 1e-30F, 1e30F,
                     1e-3F, -0.0F, 1e9F});
  }
  return static_cast<float>(d.between(10, 40)) / d.one_of({1.0F, 4.0F, 7.0F, 10.0F});
}

float random_kernel_param(dice& d) {
  if (d.percent(2)) {
    return d.one_of({std::numeric_limits<float>::quiet_NaN(),
                     std::numeric_limits<float>::infinity(), 1e30F, -1e38F});
  }
  if (d.percent(60)) return d.one_of({-0.5F, -0.75F, -1.0F, 0.0F});
  return static_cast<float>(d.between(-3000, 3000)) / 1000.0F;
}

resize_request random_request(dice& d, int created_for) {
  resize_request r;
  r.created_for = created_for;
  r.space = d.percent(4) ? d.one_of({0, 9, -1, 255, 1, 3, 6, 7}) : created_for;
  r.in_width = random_in_size(d);
  r.in_height = random_in_size(d);
  r.out_width = random_out_size(d, std::max(r.in_width, 0));
  r.out_height = random_out_size(d, std::max(r.in_height, 0));
  random_crop(d, r.in_width, r.crop_left, r.crop_right);
  random_crop(d, r.in_height, r.crop_top, r.crop_bottom);
  r.aspect_preset = d.percent(40) ? 0 : d.between(-1, 7);
  r.aspect_x = random_aspect(d);
  r.aspect_y = random_aspect(d);
  r.resize_mode = d.percent(4) ? d.one_of({-1, 3, 255}) : d.one_of({0, 0, 0, 2, 2, 1});
  r.fit_mode = d.percent(3) ? d.one_of({3, -1}) : d.below(3);
  r.kernel_param = random_kernel_param(d);
  r.interpolation = d.percent(2) ? d.one_of({5, -1, 100}) : d.below(5);
  r.smoothing = d.percent(5) ? d.one_of({3, -1}) : d.below(3);
  r.smoothing_level = d.between(-10, 200);
  return r;
}

// Noise, extremes, steps and flat pictures, to cover rounding, saturation and edges.
void fill_picture(dice& d, unsigned char* bytes, std::size_t size) {
  const int kind = d.below(5);
  const int a = d.below(256);
  const int b = d.below(256);
  const int period = d.between(1, 40);
  for (std::size_t i = 0; i < size; ++i) {
    int value = d.below(256);
    if (kind == 1) value = value < 128 ? 0 : 255;
    if (kind == 2) value = i / static_cast<std::size_t>(period) % 2 == 0 ? 0 : 255;
    if (kind == 3) value = i % 2 == 0 ? a : b;
    if (kind == 4) value = a + d.below(3);
    bytes[i] = static_cast<unsigned char>(value);
  }
}

using resizer_ptr = std::unique_ptr<qor_resize, void (*)(qor_resize*)>;

resizer_ptr create(int space) {
  return {qor_resize::create(static_cast<qor_resize::colorspace>(space)), &qor_resize::destroy};
}

int init(qor_resize& resizer, const resize_request& r) {
  return resizer.init(r.out_width, r.out_height, r.in_width, r.in_height,
                      static_cast<qor_resize::colorspace>(r.space), r.crop_left, r.crop_right,
                      r.crop_top, r.crop_bottom, r.aspect_preset, r.aspect_x, r.aspect_y,
                      r.resize_mode, r.fit_mode, r.kernel_param, r.interpolation, r.smoothing,
                      r.smoothing_level);
}

// Processes one frame with one resizer, in buffers that are guarded at one of the two edges.
void compare_frame(qor_resize& resizer, const expected_frame& expected, unsigned size,
                   const unsigned char* picture, protected_edge edge, fill_pattern pattern) {
  guarded_buffer in(size, edge, pattern);
  guarded_buffer out(expected.bytes.size(), edge, pattern);
  if (picture != nullptr) std::copy_n(picture, size, in.data());
  const std::vector<unsigned char> in_before(in.data(), in.data() + in.size());

  constexpr unsigned untouched = 0xdeadbeef;
  unsigned out_size = untouched;
  ASSERT_EQ(1,
            resizer.process(size, picture == nullptr ? nullptr : in.data(), out_size, out.data()));
  EXPECT_EQ(expected.out_size.value_or(untouched), out_size);
  EXPECT_EQ("", in.damage());
  EXPECT_EQ("", out.damage());
  EXPECT_TRUE(std::equal(in_before.begin(), in_before.end(), in.data())) << "input changed";
  for (std::size_t i = 0; i < out.size(); ++i) {
    const int byte = expected.written[i] != 0 ? expected.bytes[i] : out.fill();
    ASSERT_EQ(byte, static_cast<int>(out.data()[i])) << "at byte " << i;
  }
}

unsigned random_frame_size(dice& d, unsigned whole) {
  const int kind = d.below(100);
  if (kind < 6) return static_cast<unsigned>(d.below(static_cast<int>(whole) + 1));
  if (kind < 10) return whole + static_cast<unsigned>(d.below(5000));
  return whole;
}

struct tally {
  int accepted = 0;
  int turned_down = 0;
  int frames = 0;
};

void run_case(std::uint64_t seed, tally& count) {
  dice d(seed);
  const int created_for = d.percent(2) ? d.one_of({0, 9}) : d.between(1, 8);
  const resizer_ptr first = create(created_for);
  const resizer_ptr second = create(created_for);
  // Sometimes a second plan on the same object.
  for (int plans = d.percent(15) ? 2 : 1; plans > 0; --plans) {
    resize_request r;
    reference_resizer reference;
    int result = 0;
    do {
      r = random_request(d, created_for);
      result = reference.init(r);
    } while (reference.samples() > most_samples);
    SCOPED_TRACE(testing::Message() << "RESIZE_SEED=" << seed << " RESIZE_CASES=1: " << r);
    ASSERT_EQ(result, init(*first, r));
    ASSERT_EQ(result, init(*second, r));
    ASSERT_EQ(reference.output_size(), static_cast<unsigned>(first->get_output_size()));
    (result == 1 ? count.accepted : count.turned_down) += 1;

    std::vector<unsigned char> picture;
    for (int frame = d.between(1, 3); frame > 0; --frame, ++count.frames) {
      SCOPED_TRACE(testing::Message() << "frame counted from the last: " << frame);
      const unsigned size = random_frame_size(d, reference.input_size());
      picture.resize(size + 1U);  // never empty, which might be null
      fill_picture(d, picture.data(), size);
      const unsigned char* in = d.percent(2) ? nullptr : picture.data();
      const expected_frame expected = reference.process(size, in);
      compare_frame(*first, expected, size, in, protected_edge::end, fill_pattern::checker);
      compare_frame(*second, expected, size, in, protected_edge::begin,
                    fill_pattern::inverse_checker);
      if (testing::Test::HasFailure()) return;
    }
  }
}

std::uint64_t from_environment(const char* name, std::uint64_t otherwise) {
  const char* const value = std::getenv(name);
  return value == nullptr ? otherwise : std::strtoull(value, nullptr, 0);
}

TEST(RandomPlans, EveryByteIsWhatTheSecondComputationSays) {
  const std::uint64_t seed = from_environment("RESIZE_SEED", 1);
  const std::uint64_t cases = from_environment("RESIZE_CASES", default_cases);
  tally count;
  for (std::uint64_t i = 0; i < cases; ++i) {
    try {
      run_case(seed + i, count);
    } catch (const std::exception& e) {
      FAIL() << "RESIZE_SEED=" << seed + i << " RESIZE_CASES=1: " << e.what();
    }
    if (HasFailure()) return;
  }
  RecordProperty("accepted", count.accepted);
  RecordProperty("turned_down", count.turned_down);
  RecordProperty("frames", count.frames);
  // Checks the mixture: mostly valid plans, and enough invalid ones.
  if (cases >= 1000) {
    EXPECT_GT(count.accepted, count.turned_down * 4);
    EXPECT_GT(count.turned_down, static_cast<int>(cases / 100));
  }
}

}  // namespace
