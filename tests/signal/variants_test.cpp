#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "signal/vector_primitives.h"
#include "tests/signal/float_settings.h"
#include "tests/signal/protected_buffer.h"
#include "tests/signal/variant_scope.h"

// Every variant that the machine supports, compared with the portable code, which is the
// definition: each primitive, bit by bit, on the same data. SIGNAL_TEST_SEED replays a failing run.

namespace {

using ns_signal::variant;

unsigned int seed() {
  static const unsigned int value = [] {
    const char* const given = std::getenv("SIGNAL_TEST_SEED");
    return given != nullptr ? static_cast<unsigned int>(std::strtoul(given, nullptr, 0))
                            : std::random_device()();
  }();
  return value;
}

float from_bits(std::uint32_t word) {
  float value = 0;
  std::memcpy(&value, &word, sizeof value);
  return value;
}

// Ordinary samples, values near the rounding points, random bits, and special values.
float random_float(std::mt19937& random) {
  const std::uint32_t r = static_cast<std::uint32_t>(random());
  const std::uint32_t special[] = {
      0x00000000, 0x80000000, 0x7f800000, 0xff800000, 0x7fc00000, 0xffc00000, 0x7f800001,
      0xff800001, 0x7fffffff, 0xffffffff, 0x7fc12345, 0xffc54321, 0x00000001, 0x807fffff,
      0x7f7fffff, 0xff7fffff, 0x3effffff, 0x3f000000, 0x3f000001, 0x437f0000, 0x437effff,
      0x437f0001, 0x4f000000, 0xcf000000, 0xcf000001, 0x4effffff, 0xbf000000, 0xbeffffff};
  switch (r % 8) {
    case 0:
      return from_bits(special[random() % (sizeof special / sizeof special[0])]);
    case 1:
      return from_bits(static_cast<std::uint32_t>(random()));
    case 2: {
      const float half = static_cast<float>(random() % 530) * 0.5F - 4.0F;
      return random() % 3 == 0 ? half : std::nextafter(half, random() % 2 == 0 ? -1e9F : 1e9F);
    }
    default:
      return std::ldexp(static_cast<float>(static_cast<std::int32_t>(random())), -23);
  }
}

template <class T>
T random_element(std::mt19937& random) {
  if constexpr (sizeof(T) == sizeof(float)) {
    return random_float(random);
  } else {
    return static_cast<T>(random());
  }
}

// One primitive in the test's form: two sources of elements S, a destination of elements D.
template <class S, class D>
struct operation {
  std::string name;
  std::function<int(const S* a, const S* b, D* dst, int len)> call;
};

std::vector<operation<float, float>> arithmetic() {
  std::vector<operation<float, float>> list = {
      {"ippsAdd_32f", ippsAdd_32f},
      {"ippsMul_32f", ippsMul_32f},
  };
  for (const std::uint32_t bits :
       {0x3f000000U, 0xbf99999aU, 0x7f800000U, 0x7fc00007U, 0xffc00007U, 0x7f800003U, 0x00000001U,
        0x7f7fffffU, 0x3f800000U, 0x80000000U}) {
    list.push_back({"ippsMulC_32f by bits " + std::to_string(bits),
                    [bits](const float* a, const float*, float* dst, int len) {
                      return ippsMulC_32f(a, from_bits(bits), dst, len);
                    }});
  }
  return list;
}

std::vector<operation<float, unsigned char>> narrowing() {
  std::vector<operation<float, unsigned char>> list;
  for (const int mode : {0, 1, 2}) {
    for (const int scale : {0, 1, -1, 5, -5, 149, 150, -127, -128}) {
      list.push_back(
          {"ippsConvert_32f8u_Sfs mode " + std::to_string(mode) + " scale " + std::to_string(scale),
           [mode, scale](const float* a, const float*, unsigned char* dst, int len) {
             return ippsConvert_32f8u_Sfs(a, dst, len, mode, scale);
           }});
    }
  }
  return list;
}

std::vector<operation<unsigned char, float>> widening_8u() {
  return {{"ippsConvert_8u32f", [](const unsigned char* a, const unsigned char*, float* dst,
                                   int len) { return ippsConvert_8u32f(a, dst, len); }}};
}

std::vector<operation<unsigned short, float>> widening_16u() {
  return {{"ippsConvert_16u32f", [](const unsigned short* a, const unsigned short*, float* dst,
                                    int len) { return ippsConvert_16u32f(a, dst, len); }}};
}

template <class S, class D>
std::vector<D> defined_result(const operation<S, D>& op, const S* a, const S* b, int len) {
  std::vector<D> result(static_cast<std::size_t>(len));
  const variant_scope scope(ns_signal::portable_variant);
  const float_settings::scope settings(float_settings::usual);
  EXPECT_EQ(op.call(a, b, result.data(), len), 0);
  return result;
}

template <class D>
std::uint32_t bits_of(D element) {
  std::uint32_t bits = 0;
  std::memcpy(&bits, &element, sizeof element);
  return bits;
}

template <class D>
testing::AssertionResult same_bits(const D* result, const std::vector<D>& expected) {
  for (std::size_t i = 0; i < expected.size(); ++i) {
    if (bits_of(result[i]) != bits_of(expected[i])) {
      return testing::AssertionFailure()
             << "element " << i << " of " << expected.size() << " has the bits "
             << bits_of(result[i]) << ", defined are " << bits_of(expected[i]);
    }
  }
  return testing::AssertionSuccess();
}

class Variants : public testing::TestWithParam<const variant*> {
 protected:
  std::mt19937 random_{seed()};
};

std::string name_of(const testing::TestParamInfo<const variant*>& info) {
  return spelled(info.param);
}

INSTANTIATE_TEST_SUITE_P(Variant, Variants, testing::ValuesIn(runnable_variants()), name_of);

// Vectors that end (or begin) at a protected page, moved by `shift` elements, so that every
// alignment occurs.
template <class S, class D>
void compare(const variant& v, const operation<S, D>& op, int len, std::mt19937& random,
             bool at_begin) {
  const std::size_t count = static_cast<std::size_t>(len);
  using source = protected_buffer<S>;
  using destination = protected_buffer<D>;
  const auto src_side = at_begin ? source::side::begin : source::side::end;
  const auto dst_side = at_begin ? destination::side::begin : destination::side::end;
  source a(count, src_side);
  source b(count, src_side);
  for (std::size_t i = 0; i < count; ++i) {
    a[i] = random_element<S>(random);
    b[i] = random_element<S>(random);
  }
  const std::vector<D> expected = defined_result(op, a.data(), b.data(), len);
  destination dst(count, dst_side);
  dst.fill(0xc3);
  const variant_scope scope(v);
  ASSERT_STREQ(ns_signal::current_variant().name, v.name);
  ASSERT_EQ(op.call(a.data(), b.data(), dst.data(), len), 0);
  ASSERT_TRUE(same_bits(dst.data(), expected))
      << v.name << ", " << op.name << ", SIGNAL_TEST_SEED=" << seed();
}

template <class S, class D>
void compare_lengths(const variant& v, const std::vector<operation<S, D>>& list,
                     std::mt19937& random) {
  for (const operation<S, D>& op : list) {
    for (int len = 1; len <= 130; ++len) {
      compare(v, op, len, random, false);
      compare(v, op, len, random, true);
    }
    for (const int len : {255, 256, 257, 1919, 1920, 1921, 4099}) {
      compare(v, op, len, random, false);
    }
    if (testing::Test::HasFatalFailure()) {
      return;
    }
  }
}

TEST_P(Variants, AgreeAtEveryLength) {
  compare_lengths(*GetParam(), arithmetic(), random_);
  compare_lengths(*GetParam(), narrowing(), random_);
  compare_lengths(*GetParam(), widening_8u(), random_);
  compare_lengths(*GetParam(), widening_16u(), random_);
}

// Both operands at all offsets within 64 bytes; nothing outside the destination is written.
template <class S, class D>
void compare_alignments(const variant& v, const std::vector<operation<S, D>>& list,
                        std::mt19937& random) {
  constexpr std::size_t places = 64;
  constexpr std::size_t room = 300;
  std::vector<S> a(room);
  std::vector<S> b(room);
  for (std::size_t i = 0; i < room; ++i) {
    a[i] = random_element<S>(random);
    b[i] = random_element<S>(random);
  }
  for (const operation<S, D>& op : list) {
    for (std::size_t at = 0; at < places / sizeof(S); ++at) {
      for (std::size_t to = 0; to < places / sizeof(D); ++to) {
        const int len = static_cast<int>(random() % 140) + 1;
        const std::size_t count = static_cast<std::size_t>(len);
        const std::size_t other = random() % 16;
        const std::vector<D> expected = defined_result(op, a.data() + at, b.data() + other, len);
        std::vector<D> dst(room);
        std::memset(dst.data(), 0x5a, room * sizeof(D));
        const D guard = dst[0];
        const variant_scope scope(v);
        op.call(a.data() + at, b.data() + other, dst.data() + to, len);
        ASSERT_TRUE(same_bits(dst.data() + to, expected))
            << v.name << ", " << op.name << ", source " << at << ", destination " << to
            << ", SIGNAL_TEST_SEED=" << seed();
        for (std::size_t i = 0; i < room; ++i) {
          ASSERT_TRUE((i >= to && i < to + count) || bits_of(dst[i]) == bits_of(guard))
              << v.name << ", " << op.name << " wrote element " << i
              << ", SIGNAL_TEST_SEED=" << seed();
        }
      }
    }
  }
}

TEST_P(Variants, AgreeAtEveryAlignment) {
  compare_alignments(*GetParam(), arithmetic(), random_);
  compare_alignments(*GetParam(), narrowing(), random_);
  compare_alignments(*GetParam(), widening_8u(), random_);
  compare_alignments(*GetParam(), widening_16u(), random_);
}

TEST_P(Variants, AgreeInPlace) {
  for (const operation<float, float>& op : arithmetic()) {
    for (int len = 1; len <= 200; ++len) {
      const std::size_t count = static_cast<std::size_t>(len);
      std::vector<float> a(count);
      std::vector<float> b(count);
      for (std::size_t i = 0; i < count; ++i) {
        a[i] = random_float(random_);
        b[i] = random_float(random_);
      }
      const std::vector<float> expected = defined_result(op, a.data(), b.data(), len);
      const std::vector<float> doubled = defined_result(op, a.data(), a.data(), len);
      const variant_scope scope(*GetParam());
      std::vector<float> first = a;
      op.call(first.data(), b.data(), first.data(), len);
      std::vector<float> second = b;
      op.call(a.data(), second.data(), second.data(), len);
      std::vector<float> both = a;
      op.call(both.data(), both.data(), both.data(), len);
      ASSERT_TRUE(same_bits(first.data(), expected) && same_bits(second.data(), expected) &&
                  same_bits(both.data(), doubled))
          << GetParam()->name << ", " << op.name << ", length " << len
          << ", SIGNAL_TEST_SEED=" << seed();
    }
  }
}

template <class D>
void compare_settings(const variant& v, const std::vector<operation<float, D>>& list,
                      std::mt19937& random) {
  constexpr int len = 97;
  std::vector<float> a(len);
  std::vector<float> b(len);
  for (std::size_t i = 0; i < len; ++i) {
    a[i] = random_float(random);
    b[i] = random_float(random);
  }
  for (const operation<float, D>& op : list) {
    const std::vector<D> expected = defined_result(op, a.data(), b.data(), len);
    const variant_scope scope(v);
    for (const unsigned int word : float_settings::all()) {
      std::vector<D> result(len);
      unsigned int after = 0;
      {
        const float_settings::scope settings(word);
        op.call(a.data(), b.data(), result.data(), len);
        after = float_settings::scope::get();
      }
      EXPECT_EQ(after & ~float_settings::flags, word);
      EXPECT_TRUE(sizeof(D) != 1 || (after & float_settings::invalid_raised) == 0);
      ASSERT_TRUE(same_bits(result.data(), expected))
          << v.name << ", " << op.name << ", settings " << word << ", SIGNAL_TEST_SEED=" << seed();
    }
  }
}

TEST_P(Variants, AgreeUnderEveryCallersSettings) {
  compare_settings(*GetParam(), arithmetic(), random_);
  compare_settings(*GetParam(), narrowing(), random_);
}

// If two entries of the table were the same code, the tests above would compare it with itself.
TEST(VariantTable, EveryLevelHasCodeOfItsOwn) {
  std::vector<const variant*> levels;
  for (const variant* const* v = ns_signal::all_variants; *v != nullptr; ++v) {
    if (*v != &ns_signal::portable_variant_on_stack) {
      levels.push_back(*v);
    }
  }
  for (std::size_t i = 0; i < levels.size(); ++i) {
    for (std::size_t k = 0; k < i; ++k) {
      const variant& p = *levels[i];
      const variant& q = *levels[k];
      EXPECT_STRNE(p.name, q.name);
      EXPECT_NE(p.required, q.required);
      EXPECT_NE(p.convert_8u32f, q.convert_8u32f) << p.name << ", " << q.name;
      EXPECT_NE(p.convert_16u32f, q.convert_16u32f) << p.name << ", " << q.name;
      EXPECT_NE(p.convert_32f8u, q.convert_32f8u) << p.name << ", " << q.name;
      EXPECT_NE(p.mul_c_32f, q.mul_c_32f) << p.name << ", " << q.name;
      EXPECT_NE(p.add_32f, q.add_32f) << p.name << ", " << q.name;
      EXPECT_NE(p.mul_32f, q.mul_32f) << p.name << ", " << q.name;
      EXPECT_NE(p.gaussian.filter_3x3_8u, q.gaussian.filter_3x3_8u) << p.name << ", " << q.name;
      EXPECT_NE(p.gaussian.combine_5x5_8u, q.gaussian.combine_5x5_8u) << p.name << ", " << q.name;
      EXPECT_NE(p.gaussian.filter_5x5_16u, q.gaussian.filter_5x5_16u) << p.name << ", " << q.name;
    }
  }
}

TEST(VariantTable, IndicesHoldTheirLevels) {
  ippStaticInit();
  const variant* const* const table = ns_signal::variant_table;
  EXPECT_STREQ(table[0]->name, "w7_ SSE2");
  EXPECT_EQ(table[1], table[0]);
  // Only index 3 uses the calling thread and its stack alone.
  EXPECT_EQ(table[0]->walk_8u, ns_signal::walk_in_bands);
  EXPECT_EQ(table[2]->walk_8u, ns_signal::walk_in_bands);
  EXPECT_EQ(table[3]->walk_8u, ns_signal::walk_in_tiles);
}

TEST(VariantTable, StartUpChoosesTheWidestFormThatRuns) {
  ippStaticInit();
  const variant* expected[] = {&ns_signal::portable_variant, &ns_signal::portable_variant_on_stack};
  for (const variant* v : runnable_variants()) {
    const std::string prefix = std::string(v->name).substr(0, 3);
    if (prefix == "v8_") {
      expected[0] = v;
    } else if (prefix == "p8_") {
      expected[1] = v;
    }
  }
  EXPECT_EQ(ns_signal::variant_table[2], expected[0]);
  EXPECT_EQ(ns_signal::variant_table[3], expected[1]);
}

}  // namespace
