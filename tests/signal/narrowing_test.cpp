#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "signal/processor_variant.h"
#include "signal/vector_primitives.h"
#include "tests/signal/float_settings.h"

// The conversion of floats to bytes: scaling, the three roundings, saturation, NaN.

namespace {

constexpr float inf = std::numeric_limits<float>::infinity();
constexpr float nan = std::numeric_limits<float>::quiet_NaN();

float from_bits(std::uint32_t word) {
  float value = 0;
  std::memcpy(&value, &word, sizeof value);
  return value;
}

// Every test runs with the variant chosen at start-up.
class Narrowing : public testing::Test {
 protected:
  void SetUp() override { ippStaticInit(); }
};

int narrow(float value, int mode, int scale = 0) {
  unsigned char result = 99;
  EXPECT_EQ(ippsConvert_32f8u_Sfs(&value, &result, 1, mode, scale), 0);
  return result;
}

TEST_F(Narrowing, ToNearestEven) {
  EXPECT_EQ(narrow(255.7F, 1), 255);
  EXPECT_EQ(narrow(1e30F, 1), 255);
  EXPECT_EQ(narrow(inf, 1), 255);
  EXPECT_EQ(narrow(-0.4F, 1), 0);
  EXPECT_EQ(narrow(-0.0F, 1), 0);
  EXPECT_EQ(narrow(-1e30F, 1), 0);
  EXPECT_EQ(narrow(-inf, 1), 0);
  EXPECT_EQ(narrow(0.5F, 1), 0);
  EXPECT_EQ(narrow(1.5F, 1), 2);
  EXPECT_EQ(narrow(2.5F, 1), 2);
  EXPECT_EQ(narrow(253.5F, 1), 254);
  EXPECT_EQ(narrow(254.5F, 1), 254);
  EXPECT_EQ(narrow(std::nextafter(254.5F, 255.0F), 1), 255);
}

TEST_F(Narrowing, TowardZero) {
  EXPECT_EQ(narrow(1.99F, 0), 1);
  EXPECT_EQ(narrow(254.99F, 0), 254);
  EXPECT_EQ(narrow(255.0F, 0), 255);
  EXPECT_EQ(narrow(-3.0F, 0), 0);
  EXPECT_EQ(narrow(inf, 0), 255);
  EXPECT_EQ(narrow(-inf, 0), 0);
}

TEST_F(Narrowing, HalvesUp) {
  for (const int mode : {2, 3, -1, INT_MAX, INT_MIN}) {
    EXPECT_EQ(narrow(1.5F, mode), 2);
    EXPECT_EQ(narrow(2.5F, mode), 3);
    EXPECT_EQ(narrow(0.5F, mode), 1);
    EXPECT_EQ(narrow(0.49999997F, mode), 0);
    EXPECT_EQ(narrow(254.49998F, mode), 254);
    EXPECT_EQ(narrow(254.5F, mode), 255);
    EXPECT_EQ(narrow(-0.5F, mode), 0);
    EXPECT_EQ(narrow(-0.6F, mode), 0);
    EXPECT_EQ(narrow(-inf, mode), 0);
  }
}

// The modes differ on purpose.
TEST_F(Narrowing, Nan) {
  for (const std::uint32_t payload : {0x1U, 0x3fffffU, 0x400000U, 0x400001U, 0x7fffffU}) {
    for (const std::uint32_t sign : {0U, 0x80000000U}) {
      const float value = from_bits(sign | 0x7f800000U | payload);
      for (const int scale : {0, 3, -3, 200, -200}) {
        EXPECT_EQ(narrow(value, 0, scale), 0);
        EXPECT_EQ(narrow(value, 1, scale), 0);
        EXPECT_EQ(narrow(value, 2, scale), 255);
        EXPECT_EQ(narrow(value, -7, scale), 255);
      }
    }
  }
}

TEST_F(Narrowing, Scaled) {
  EXPECT_EQ(narrow(3.0F, 1, 1), 2);
  EXPECT_EQ(narrow(5.0F, 1, 1), 2);
  EXPECT_EQ(narrow(5.0F, 2, 1), 3);
  EXPECT_EQ(narrow(5.0F, 0, 1), 2);
  EXPECT_EQ(narrow(3.0F, 1, -6), 192);
  EXPECT_EQ(narrow(4.0F, 1, -6), 255);
  EXPECT_EQ(narrow(0x1p-149F, 1, -127), 0);
  EXPECT_EQ(narrow(0x1p127F, 1, 120), 128);
  EXPECT_EQ(narrow(0x1.8p127F, 1, 127), 2);
}

// Outside the range of single precision the factor is 0 or infinity, and a product that is NaN
// counts as not below 255: only a NaN in the source gives 0.
TEST_F(Narrowing, ByVanishingAndEndlessFactors) {
  for (const int mode : {0, 1, 2}) {
    for (const int scale : {150, 151, 1000, INT_MAX}) {
      EXPECT_EQ(narrow(1e38F, mode, scale), 0);
      EXPECT_EQ(narrow(inf, mode, scale), 255);
      EXPECT_EQ(narrow(-inf, mode, scale), 255);
    }
    EXPECT_EQ(narrow(-inf, mode, 149), 0);
    for (const int scale : {-128, -129, -1000, INT_MIN + 1, INT_MIN}) {
      EXPECT_EQ(narrow(1e-45F, mode, scale), 255);
      EXPECT_EQ(narrow(-1e-45F, mode, scale), 0);
      EXPECT_EQ(narrow(0.0F, mode, scale), 255);
      EXPECT_EQ(narrow(-0.0F, mode, scale), 255);
    }
    EXPECT_EQ(narrow(0.0F, mode, -127), 0);
  }
}

// By the definition, in double precision, where every step is exact enough: the error of a float
// between 0 and 255 plus a half is less than its distance from the next integer.
int expected_narrow(float source, int mode, int scale) {
  float factor = 1.0F;
  for (int i = 0; i < scale; ++i) {
    factor *= 0.5F;
  }
  for (int i = 0; i > scale; --i) {
    factor *= 2.0F;
  }
  volatile float product = source;
  if (scale != 0) {
    product = product * factor;
  }
  const double value = product < 255.0F ? static_cast<double>(product) : 255.0;
  if (std::isnan(source) && (mode == 0 || mode == 1)) {
    return 0;
  }
  const double rounded = mode == 0   ? std::trunc(value)
                         : mode == 1 ? std::nearbyint(value)
                                     : std::trunc(value + 0.5);
  return rounded < 0 ? 0 : static_cast<int>(rounded);
}

void expect_narrowed(const std::vector<float>& source, int mode, int scale) {
  std::vector<unsigned char> result(source.size());
  ASSERT_EQ(ippsConvert_32f8u_Sfs(source.data(), result.data(), static_cast<int>(source.size()),
                                  mode, scale),
            0);
  for (std::size_t i = 0; i < source.size(); ++i) {
    ASSERT_EQ(static_cast<int>(result[i]), expected_narrow(source[i], mode, scale))
        << std::hexfloat << source[i] << " mode " << mode << " scale " << scale;
  }
}

TEST_F(Narrowing, AroundEveryHalfAndWhole) {
  std::vector<float> source;
  for (int half = -4; half <= 516; ++half) {
    float below = static_cast<float>(half) * 0.5F;
    float above = below;
    for (int i = 0; i < 8; ++i) {
      source.push_back(below);
      source.push_back(above);
      below = std::nextafter(below, -inf);
      above = std::nextafter(above, inf);
    }
  }
  for (const int mode : {0, 1, 2}) {
    expect_narrowed(source, mode, 0);
  }
}

TEST_F(Narrowing, OverAllFloatsInSteps) {
  std::vector<float> source;
  for (std::uint64_t word = 0; word <= 0xffffffff; word += 65521 / 2 + 1) {
    source.push_back(from_bits(static_cast<std::uint32_t>(word)));
  }
  for (const int mode : {0, 1, 2}) {
    expect_narrowed(source, mode, 0);
  }
}

TEST_F(Narrowing, ByEveryFactor) {
  std::mt19937 random(1);
  for (int scale = -300; scale <= 300; ++scale) {
    std::vector<float> source(50);
    for (float& value : source) {
      value = from_bits(static_cast<std::uint32_t>(random()));
    }
    // Some with results between 0 and 255.
    for (int i = 0; i < 50 && scale > -100 && scale < 100; ++i) {
      source.push_back(std::ldexp(static_cast<float>(i) * 2.75F, scale));
    }
    for (const int mode : {0, 1, 2}) {
      expect_narrowed(source, mode, scale);
    }
  }
}

TEST_F(Narrowing, RestoresRoundingAndInvalidFlag) {
  const float source[] = {nan, 1e30F, -1e30F, inf, -inf, 1.5F, from_bits(0x7f800001)};
  unsigned char result[7];
  for (const unsigned int word : float_settings::all()) {
    for (const unsigned int before : {0U, float_settings::invalid_raised}) {
      for (const int mode : {0, 1, 2}) {
        const float_settings::scope scope(word | before);
        ippsConvert_32f8u_Sfs(source, result, 7, mode, -3);
        const unsigned int after = float_settings::scope::get();
        EXPECT_EQ(after & ~float_settings::flags, word);
        EXPECT_EQ(after & float_settings::invalid_raised, before);
      }
    }
  }
}

}  // namespace
