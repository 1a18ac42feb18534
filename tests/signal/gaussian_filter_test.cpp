#include "signal/gaussian_filter.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <numeric>
#include <string>

#include "signal/vector_primitives.h"
#include "tests/signal/gaussian_reference.h"
#include "tests/signal/variant_scope.h"

namespace {

namespace reference = gaussian_reference;
using reference::picture;

TEST(GaussianReference, WeightsAreTheMasks) {
  EXPECT_EQ(reference::total(33), 16);
  EXPECT_EQ(reference::total(55), 571);
}

// Every test runs with each variant that the machine supports.
class GaussianFilter : public testing::TestWithParam<const ns_signal::variant*> {
 protected:
  bool allocates() const { return GetParam()->walk_8u == ns_signal::walk_in_bands; }

 private:
  variant_scope scope_{*GetParam()};
};

std::string name_of(const testing::TestParamInfo<const ns_signal::variant*>& info) {
  return spelled(info.param);
}

INSTANTIATE_TEST_SUITE_P(Variant, GaussianFilter, testing::ValuesIn(runnable_variants()), name_of);

template <class T>
picture<T> zeros(int width, int height, int mask) {
  return picture<T>(width, height, mask == 33 ? 1 : 2);
}

template <class T>
int filtered_at(const picture<T>& p, int mask, int x, int y) {
  const reference::outcome<T> out = reference::run(p, mask);
  EXPECT_EQ(out.status, 0);
  return out.region[static_cast<std::size_t>(y) * static_cast<std::size_t>(p.width) +
                    static_cast<std::size_t>(x)];
}

template <class T, class Filter>
void expect_checks(Filter filter) {
  std::vector<T> source(64, 3);
  std::vector<T> out(64, 77);
  T* const s = source.data() + 18;
  T* const d = out.data();
  const int step = 8 * static_cast<int>(sizeof(T));
  const IppiSize roi = {4, 4};

  EXPECT_EQ(filter(nullptr, step, d, step, roi, 33), -8);
  EXPECT_EQ(filter(s, step, nullptr, step, roi, 33), -8);
  for (const IppiSize bad : {IppiSize{0, 4}, {4, 0}, {-1, 4}, {4, -1}, {INT_MIN, INT_MIN}}) {
    EXPECT_EQ(filter(s, step, d, step, bad, 33), -6);
    EXPECT_EQ(filter(s, step, d, step, bad, 55), -6);
  }
  for (const int bad : {0, -1, INT_MIN}) {
    EXPECT_EQ(filter(s, bad, d, step, roi, 33), -14);
    EXPECT_EQ(filter(s, step, d, bad, roi, 55), -14);
  }
  for (const int bad : {35, 0, 3, 5, 53, -33, INT_MAX}) {
    EXPECT_EQ(filter(s, step, d, step, roi, bad), -33);
  }
  // The order of the checks.
  EXPECT_EQ(filter(nullptr, 0, d, 0, {0, 0}, 35), -8);
  EXPECT_EQ(filter(s, 0, nullptr, 0, {0, 0}, 35), -8);
  EXPECT_EQ(filter(s, 0, d, 0, {0, 0}, 35), -6);
  EXPECT_EQ(filter(s, 0, d, 0, roi, 35), -14);
  for (const T sample : out) {
    EXPECT_EQ(sample, 77);
  }
}

TEST_P(GaussianFilter, ChecksInOrderAndWritesNothing) {
  expect_checks<unsigned char>(ippiFilterGauss_8u_C1R);
  expect_checks<unsigned short>(ippiFilterGauss_16u_C1R);
}

template <class T>
void expect_constant(int value) {
  for (const int mask : {33, 55}) {
    for (const int width : {1, 7, 40}) {
      picture<T> p = zeros<T>(width, 9, mask);
      std::fill(p.samples.begin(), p.samples.end(), static_cast<T>(value));
      const reference::outcome<T> out = reference::run(p, mask);
      for (const T sample : out.region) {
        ASSERT_EQ(sample, value);
      }
    }
  }
}

TEST_P(GaussianFilter, ConstantPlaneStays) {
  for (int value = 0; value < 256; ++value) {
    expect_constant<unsigned char>(value);
  }
  for (const int value : {0, 1, 255, 256, 32767, 32768, 65534, 65535}) {
    expect_constant<unsigned short>(value);
  }
}

template <class T>
void expect_ties_to_even() {
  const auto output = [](int sample) {
    picture<T> p = zeros<T>(1, 1, 33);
    p.at(0, -1) = static_cast<T>(sample);  // weight 2
    return filtered_at(p, 33, 0, 0);
  };
  EXPECT_EQ(output(4), 0);
  EXPECT_EQ(output(12), 2);
  EXPECT_EQ(output(20), 2);
  for (int sum = 8; sum < 500; sum += 16) {
    EXPECT_EQ(output(sum / 2), sum % 32 == 8 ? sum / 16 : sum / 16 + 1) << sum;
  }
  picture<T> p = zeros<T>(1, 1, 33);
  p.at(0, 0) = 2;
  p.at(-1, -1) = 1;
  EXPECT_EQ(filtered_at(p, 33, 0, 0), 1);  // 9 / 16
}

TEST_P(GaussianFilter, TiesGoToEven) {
  expect_ties_to_even<unsigned char>();
  expect_ties_to_even<unsigned short>();
}

template <class T>
void expect_impulse_response() {
  constexpr int most = static_cast<T>(~T{0});
  for (const int mask : {33, 55}) {
    const int reach = mask == 33 ? 1 : 2;
    picture<T> p = zeros<T>(21, 9, mask);
    p.at(10, 4) = static_cast<T>(most);
    const reference::outcome<T> out = reference::run(p, mask);
    for (int y = 0; y < 9; ++y) {
      for (int x = 0; x < 21; ++x) {
        const bool inside = std::abs(x - 10) <= reach && std::abs(y - 4) <= reach;
        const double exact = inside ? static_cast<double>(most) *
                                          reference::weight(mask, x - 10, y - 4) /
                                          reference::total(mask)
                                    : 0;
        ASSERT_EQ(out.region[static_cast<std::size_t>(y * 21 + x)], std::nearbyint(exact));
      }
    }
  }
}

TEST_P(GaussianFilter, ImpulseShowsTheMask) {
  expect_impulse_response<unsigned char>();
  expect_impulse_response<unsigned short>();
  picture<unsigned char> p = zeros<unsigned char>(5, 5, 55);
  p.at(2, 2) = 255;
  EXPECT_EQ(filtered_at(p, 55, 2, 2), 57);
  EXPECT_EQ(filtered_at(p, 55, 0, 0), 1);
  EXPECT_EQ(filtered_at(p, 55, 4, 0), 1);
  EXPECT_EQ(filtered_at(p, 55, 0, 4), 1);
  EXPECT_EQ(filtered_at(p, 55, 4, 4), 1);
}

TEST_P(GaussianFilter, RegionOfOnePixel) {
  picture<unsigned char> bytes = zeros<unsigned char>(1, 1, 55);
  std::iota(bytes.samples.begin(), bytes.samples.end(), static_cast<unsigned char>(0));
  EXPECT_EQ(filtered_at(bytes, 55, 0, 0), 12);  // odd around the centre
  picture<unsigned short> words = zeros<unsigned short>(1, 1, 33);
  std::iota(words.samples.begin(), words.samples.end(), static_cast<unsigned short>(1000));
  EXPECT_EQ(filtered_at(words, 33, 0, 0), 1004);
}

template <class T>
void expect_as_reference(int width, int height, std::mt19937& random) {
  for (const int mask : {33, 55}) {
    const picture<T> p = reference::random_picture<T>(width, height, mask, random);
    const std::vector<T> expected = reference::filter(p, mask);
    // Odd paddings: 16-bit rows that begin at odd addresses.
    const int src_padding = static_cast<int>(random() % 70);
    const int dst_padding = static_cast<int>(random() % 70);
    for (const bool at_begin : {false, true}) {
      const reference::outcome<T> out =
          reference::run(p, mask, src_padding, dst_padding, at_begin ? 0xa7 : 0x18, at_begin);
      ASSERT_EQ(out.status, 0);
      ASSERT_EQ(out.region, expected) << width << " x " << height << ", mask " << mask;
      ASSERT_TRUE(out.rest_untouched) << width << " x " << height << ", mask " << mask;
    }
  }
}

TEST_P(GaussianFilter, EverySmallSizeIsAsTheReference) {
  std::mt19937 random(5);
  for (int height = 1; height <= 12; ++height) {
    for (int width = 1; width <= 70; ++width) {
      expect_as_reference<unsigned char>(width, height, random);
      expect_as_reference<unsigned short>(width, height, random);
    }
  }
}

TEST_P(GaussianFilter, WiderRowsAreAsTheReference) {
  std::mt19937 random(6);
  for (const int width : {127, 128, 129, 255, 256, 257, 510, 511, 512, 513, 514, 515, 1023, 1024,
                          1025, 1026, 1537, 1919, 1920}) {
    for (int repeat = 0; repeat < 4; ++repeat) {
      expect_as_reference<unsigned char>(width, 6, random);
      expect_as_reference<unsigned short>(width, 6, random);
    }
  }
}

// Every possible sum of 5x5 bytes, composed of the five profiles in several ways.
TEST_P(GaussianFilter, EverySumOfBytesIsDividedExactly) {
  constexpr int most[5] = {7650, 32640, 65025, 32640, 7650};
  constexpr std::size_t width = 1024;
  std::mt19937 random(7);
  std::vector<unsigned short> parts[5];
  for (std::vector<unsigned short>& part : parts) {
    part.resize(width);
  }
  std::vector<unsigned char> result(width);
  ns_signal::row_profiles rows[5];
  for (int i = 0; i < 5; ++i) {
    unsigned short* const part = parts[i].data();
    rows[i] = {part, part, part};
  }
  for (int first = 0; first <= 571 * 255; first += static_cast<int>(width)) {
    for (int repeat = 0; repeat < 6; ++repeat) {
      const int shift = static_cast<int>(random() % 5);
      std::vector<int> sums(width);
      for (std::size_t x = 0; x < width; ++x) {
        int rest = std::min(first + static_cast<int>(x), 571 * 255);
        sums[x] = rest;
        // The maximum for some parts, random shares for the others.
        int room = 571 * 255;
        for (int i = 0; i < 5; ++i) {
          const int k = (i + shift) % 5;
          room -= most[k];
          const int least = std::max(rest - room, 0);
          const int greatest = std::min(rest, most[k]);
          const int share =
              repeat < 2 ? (repeat == 0 ? greatest : least)
                         : least + static_cast<int>(
                                       random() % static_cast<unsigned int>(greatest - least + 1));
          parts[k][x] = static_cast<unsigned short>(share);
          rest -= share;
        }
        ASSERT_EQ(rest, 0);
      }
      // Within a block the profiles have the variant's own order, so the results are sorted before
      // they are compared.
      GetParam()->gaussian.combine_5x5_8u(rows, result.data(), width);
      std::vector<int> expected(width);
      for (std::size_t x = 0; x < width; ++x) {
        expected[x] = static_cast<int>(std::nearbyint(sums[x] / 571.0));
      }
      std::vector<int> got(result.begin(), result.end());
      std::sort(got.begin(), got.end());
      std::sort(expected.begin(), expected.end());
      ASSERT_EQ(got, expected) << "sums from " << first;
    }
  }
}

// Around every level, the sums of nearly constant pictures have all remainders.
TEST_P(GaussianFilter, ManySumsOfWordsAreDividedExactly) {
  std::mt19937 random(7);
  for (int level = 0; level < 65536; level += 61) {
    picture<unsigned short> p(64, 3, 2);
    for (unsigned short& sample : p.samples) {
      const int noisy = level + static_cast<int>(random() % 7) - 3;
      sample = static_cast<unsigned short>(std::min(std::max(noisy, 0), 65535));
    }
    ASSERT_EQ(reference::run(p, 55).region, reference::filter(p, 55)) << level;
    ASSERT_EQ(reference::run(p, 33).region, reference::filter(p, 33)) << level;
  }
  for (unsigned int share = 0; share < 256; ++share) {
    picture<unsigned short> p(64, 4, 2);
    for (unsigned short& sample : p.samples) {
      const unsigned int noise = static_cast<unsigned int>(random() % 4);
      sample = static_cast<unsigned short>(random() % 256 < share ? 65535 - noise : noise);
    }
    ASSERT_EQ(reference::run(p, 55).region, reference::filter(p, 55)) << share;
    ASSERT_EQ(reference::run(p, 33).region, reference::filter(p, 33)) << share;
  }
}

int allocations = 0;
int releases = 0;
bool allocation_fails = false;

void* counting_malloc(std::size_t size) {
  ++allocations;
  return allocation_fails ? nullptr : std::malloc(size);
}

void counting_free(void* block) {
  ++releases;
  std::free(block);
}

class GaussianMemory : public GaussianFilter {
 protected:
  void SetUp() override {
    allocations = releases = 0;
    allocation_fails = false;
    i_malloc = counting_malloc;
    i_free = counting_free;
  }
  void TearDown() override {
    i_malloc = std::malloc;
    i_free = std::free;
  }
};

INSTANTIATE_TEST_SUITE_P(Variant, GaussianMemory, testing::ValuesIn(runnable_variants()), name_of);

TEST_P(GaussianMemory, ScratchIsReleasedAndTheLastIndexUsesNone) {
  for (const int threads : {1, 4}) {
    const variant_scope scope(*GetParam(), threads);
    for (const int mask : {33, 55}) {
      allocations = releases = 0;
      EXPECT_EQ(reference::run(zeros<unsigned char>(30, 300, mask), mask).status, 0);
      EXPECT_EQ(allocations, allocates() ? 1 : 0);
      EXPECT_EQ(releases, allocations);
    }
  }
}

TEST_P(GaussianMemory, FailedAllocationIsAStatusAndWritesNothing) {
  allocation_fails = true;
  std::mt19937 random(8);
  for (const int threads : {1, 4}) {
    const variant_scope scope(*GetParam(), threads);
    for (const int mask : {33, 55}) {
      const picture<unsigned char> p =
          reference::random_picture<unsigned char>(30, 300, mask, random);
      const reference::outcome<unsigned char> out = reference::run(p, mask, 0, 0, 0x5a);
      if (!allocates()) {
        EXPECT_EQ(out.status, 0);
        EXPECT_EQ(out.region, reference::filter(p, mask));
      } else {
        EXPECT_EQ(out.status, -9);
        EXPECT_TRUE(std::all_of(out.region.begin(), out.region.end(),
                                [](unsigned char b) { return b == 0x5a; }));
      }
    }
  }
  EXPECT_EQ(releases, 0);
}

TEST_P(GaussianMemory, SixteenBitsNeedNoScratch) {
  allocation_fails = true;
  std::mt19937 random(9);
  const variant_scope scope(*GetParam(), 4);
  for (const int mask : {33, 55}) {
    const picture<unsigned short> p =
        reference::random_picture<unsigned short>(30, 300, mask, random);
    EXPECT_EQ(reference::run(p, mask).region, reference::filter(p, mask));
  }
  EXPECT_EQ(allocations, 0);
}

// No allocation exceeds a 31-bit length, and no pixel is read.
TEST_P(GaussianMemory, ScratchBeyondTheAllocatorsLengthsIsAStatus) {
  if (!allocates()) {
    return;  // does not use the allocator
  }
  unsigned char pixel = 7;
  {
    const variant_scope scope(*GetParam(), 1);
    EXPECT_EQ(ippiFilterGauss_8u_C1R(&pixel, 1, &pixel, 1, {INT_MAX, 1}, 33), -9);
    EXPECT_EQ(ippiFilterGauss_8u_C1R(&pixel, 1, &pixel, 1, {INT_MAX, 1}, 55), -9);
    EXPECT_EQ(ippiFilterGauss_8u_C1R(&pixel, 1, &pixel, 1, {1 << 27, 1}, 55), -9);
  }
  const variant_scope scope(*GetParam(), INT_MAX);
  EXPECT_EQ(ippiFilterGauss_8u_C1R(&pixel, 1, &pixel, 1, {1, 1}, 55), -9);
  EXPECT_EQ(allocations, 0);
  EXPECT_EQ(pixel, 7);
}

}  // namespace
