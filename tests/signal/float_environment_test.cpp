#include "signal/float_environment.h"

#include <gtest/gtest.h>

#include <cfenv>
#include <limits>

#include "tests/signal/float_settings.h"

namespace {

using ns_signal::float_environment;

// Volatile, so that each operation stays at its place and uses the settings at that place.
float add(float a, float b) {
  volatile float x = a;
  volatile float sum = x + b;
  return sum;
}

float multiply(float a, float b) {
  volatile float x = a;
  volatile float product = x * b;
  return product;
}

constexpr float tiny = std::numeric_limits<float>::denorm_min();

TEST(FloatEnvironment, ComputesPlainlyAndRestores) {
  for (const unsigned int word : float_settings::all()) {
    const float_settings::scope scope(word);
    float half_even = 0;
    float upper = 0;
    float denormal = 0;
    float flushed = 0;
    {
      const float_environment plain;
      half_even = add(1.0F, 0x1p-24F);
      upper = add(1.0F, 0x1.8p-24F);
      denormal = add(tiny, tiny);
      flushed = multiply(0x1p-126F, 0.5F);
    }
    EXPECT_EQ(float_settings::scope::get() & ~float_settings::flags, word);
    const float_settings::scope usual(float_settings::usual);
    EXPECT_EQ(half_even, 1.0F) << word;
    EXPECT_EQ(upper, 1.0F + 0x1p-23F) << word;
    EXPECT_EQ(denormal, 0x1p-148F) << word;
    EXPECT_EQ(flushed, 0x1p-127F) << word;
  }
}

TEST(FloatEnvironment, RaisedFlagsStay) {
  std::feclearexcept(FE_ALL_EXCEPT);
  const float_settings::scope scope(float_settings::usual);
  {
    const float_environment plain;
    add(std::numeric_limits<float>::infinity(), -std::numeric_limits<float>::infinity());
  }
  EXPECT_NE(std::fetestexcept(FE_INVALID), 0);
}

TEST(FloatEnvironment, InvalidFlagIsRestoredWhenAsked) {
  for (const unsigned int word : float_settings::all()) {
    for (const unsigned int before : {0U, float_settings::invalid_raised}) {
      std::feclearexcept(FE_ALL_EXCEPT);
      const float_settings::scope scope(word | before);
      {
        const float_environment plain(float_environment::invalid_flag::restore);
        add(std::numeric_limits<float>::infinity(), -std::numeric_limits<float>::infinity());
        multiply(0x1p100F, 0x1p100F);
      }
      const unsigned int after = float_settings::scope::get();
      EXPECT_EQ(after & float_settings::invalid_raised, before);
      EXPECT_NE(std::fetestexcept(FE_OVERFLOW), 0);
      EXPECT_EQ(after & ~float_settings::flags, word);
    }
  }
}

TEST(FloatEnvironment, NothingTraps) {
  const unsigned int every_trap = 0;  // all mask bits clear
  const float_settings::scope scope(every_trap);
  {
    const float_environment plain(float_environment::invalid_flag::restore);
    add(std::numeric_limits<float>::infinity(), -std::numeric_limits<float>::infinity());
  }
  EXPECT_EQ(float_settings::scope::get() & ~float_settings::flags, every_trap);
}

}  // namespace
