#include "signal/vector_primitives.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "signal/processor_variant.h"
#include "tests/signal/float_settings.h"
#include "tests/signal/protected_buffer.h"

namespace {

constexpr float inf = std::numeric_limits<float>::infinity();
constexpr float nan = std::numeric_limits<float>::quiet_NaN();

std::uint32_t bits(float value) {
  std::uint32_t word = 0;
  std::memcpy(&word, &value, sizeof word);
  return word;
}

float from_bits(std::uint32_t word) {
  float value = 0;
  std::memcpy(&value, &word, sizeof value);
  return value;
}

// Every test runs with the variant chosen at start-up.
class VectorPrimitives : public testing::Test {
 protected:
  void SetUp() override { ippStaticInit(); }
};

TEST_F(VectorPrimitives, NullComesBeforeLength) {
  unsigned char b = 1;
  unsigned short w = 1;
  float f = 1;
  for (const int len : {1, 0, -1, INT_MIN}) {
    EXPECT_EQ(ippsConvert_8u32f(nullptr, &f, len), -8);
    EXPECT_EQ(ippsConvert_8u32f(&b, nullptr, len), -8);
    EXPECT_EQ(ippsConvert_16u32f(nullptr, &f, len), -8);
    EXPECT_EQ(ippsConvert_16u32f(&w, nullptr, len), -8);
    EXPECT_EQ(ippsConvert_32f8u_Sfs(nullptr, &b, len, 1, 0), -8);
    EXPECT_EQ(ippsConvert_32f8u_Sfs(&f, nullptr, len, 1, 0), -8);
    for (const float val : {0.0F, 1.0F, 2.0F}) {
      EXPECT_EQ(ippsMulC_32f(nullptr, val, &f, len), -8);
      EXPECT_EQ(ippsMulC_32f(&f, val, nullptr, len), -8);
    }
    EXPECT_EQ(ippsAdd_32f(nullptr, &f, &f, len), -8);
    EXPECT_EQ(ippsAdd_32f(&f, nullptr, &f, len), -8);
    EXPECT_EQ(ippsAdd_32f(&f, &f, nullptr, len), -8);
    EXPECT_EQ(ippsMul_32f(nullptr, &f, &f, len), -8);
    EXPECT_EQ(ippsMul_32f(&f, nullptr, &f, len), -8);
    EXPECT_EQ(ippsMul_32f(&f, &f, nullptr, len), -8);
    EXPECT_EQ(ippsCopy_32f(nullptr, &f, len), -8);
    EXPECT_EQ(ippsCopy_32f(&f, nullptr, len), -8);
    EXPECT_EQ(ippsZero_32f(nullptr, len), -8);
  }
  EXPECT_EQ(b, 1);
  EXPECT_EQ(f, 1.0F);
}

TEST_F(VectorPrimitives, LengthBelowOneWritesNothing) {
  const unsigned char b = 1;
  const unsigned short w = 1;
  const float f = 1;
  float d = 42;
  unsigned char n = 42;
  for (const int len : {0, -1, INT_MIN}) {
    EXPECT_EQ(ippsConvert_8u32f(&b, &d, len), -6);
    EXPECT_EQ(ippsConvert_16u32f(&w, &d, len), -6);
    EXPECT_EQ(ippsConvert_32f8u_Sfs(&f, &n, len, 1, 0), -6);
    for (const float val : {0.0F, 1.0F, 2.0F}) {
      EXPECT_EQ(ippsMulC_32f(&f, val, &d, len), -6);
    }
    EXPECT_EQ(ippsAdd_32f(&f, &f, &d, len), -6);
    EXPECT_EQ(ippsMul_32f(&f, &f, &d, len), -6);
    EXPECT_EQ(ippsCopy_32f(&f, &d, len), -6);
    EXPECT_EQ(ippsZero_32f(&d, len), -6);
  }
  EXPECT_EQ(d, 42.0F);
  EXPECT_EQ(n, 42);
}

TEST_F(VectorPrimitives, WideningIsExact) {
  std::vector<unsigned short> words(65536);
  std::vector<unsigned char> bytes(65536);
  for (std::size_t i = 0; i < words.size(); ++i) {
    words[i] = static_cast<unsigned short>(i);
    bytes[i] = static_cast<unsigned char>(i);
  }
  std::vector<float> f(words.size(), nan);
  ASSERT_EQ(ippsConvert_16u32f(words.data(), f.data(), 65536), 0);
  for (int i = 0; i < 65536; ++i) {
    ASSERT_EQ(static_cast<int>(f[static_cast<std::size_t>(i)]), i);
  }
  ASSERT_EQ(ippsConvert_8u32f(bytes.data(), f.data(), 65536), 0);
  for (int i = 0; i < 65536; ++i) {
    ASSERT_EQ(static_cast<int>(f[static_cast<std::size_t>(i)]), i & 255);
  }
}

TEST_F(VectorPrimitives, ResultsDoNotDependOnTheCallersSettings) {
  std::mt19937 random(2);
  constexpr int count = 500;
  std::vector<float> a(count);
  std::vector<float> b(count);
  for (std::size_t i = 0; i < count; ++i) {
    // Ordinary numbers, halves, denormals and sums that need rounding.
    a[i] = std::ldexp(static_cast<float>(random() % 4096), i % 3 == 0 ? -3 : i % 3 == 1 ? -140 : 9);
    b[i] = std::ldexp(static_cast<float>(random() % 65536) + 0.5F, i % 2 == 0 ? -15 : -149 + 16);
  }
  struct results {
    std::vector<float> sum = std::vector<float>(count), product = sum, scaled = sum, tiny = sum;
    std::vector<unsigned char> nearest = std::vector<unsigned char>(count), cut = nearest,
                               up = nearest, shifted = nearest;
  };
  const auto compute = [&a, &b] {
    results r;
    ippsAdd_32f(a.data(), b.data(), r.sum.data(), count);
    ippsMul_32f(a.data(), b.data(), r.product.data(), count);
    ippsMulC_32f(a.data(), 1.1F, r.scaled.data(), count);
    ippsMulC_32f(a.data(), 0x1p-149F, r.tiny.data(), count);
    ippsConvert_32f8u_Sfs(a.data(), r.nearest.data(), count, 1, 0);
    ippsConvert_32f8u_Sfs(a.data(), r.cut.data(), count, 0, 0);
    ippsConvert_32f8u_Sfs(a.data(), r.up.data(), count, 2, 0);
    ippsConvert_32f8u_Sfs(a.data(), r.shifted.data(), count, 1, -134);
    return r;
  };
  const auto same = [](const std::vector<float>& x, const std::vector<float>& y) {
    return std::equal(x.begin(), x.end(), y.begin(),
                      [](float p, float q) { return bits(p) == bits(q); });
  };
  const results usual = compute();
  for (std::size_t i = 0; i < count; ++i) {
    // A sum or product of floats is exact in double, or the second rounding has the same result.
    ASSERT_EQ(bits(usual.sum[i]), bits(static_cast<float>(double{a[i]} + double{b[i]})));
    ASSERT_EQ(bits(usual.product[i]), bits(static_cast<float>(double{a[i]} * double{b[i]})));
    ASSERT_EQ(bits(usual.scaled[i]), bits(static_cast<float>(double{a[i]} * double{1.1F})));
  }
  for (const unsigned int word : float_settings::all()) {
    results r;
    {
      const float_settings::scope scope(word);
      r = compute();
      ASSERT_EQ(float_settings::scope::get() & ~float_settings::flags, word);
    }
    EXPECT_TRUE(same(r.sum, usual.sum)) << word;
    EXPECT_TRUE(same(r.product, usual.product)) << word;
    EXPECT_TRUE(same(r.scaled, usual.scaled)) << word;
    EXPECT_TRUE(same(r.tiny, usual.tiny)) << word;
    EXPECT_EQ(r.nearest, usual.nearest) << word;
    EXPECT_EQ(r.cut, usual.cut) << word;
    EXPECT_EQ(r.up, usual.up) << word;
    EXPECT_EQ(r.shifted, usual.shifted) << word;
  }
}

TEST_F(VectorPrimitives, MulCByZeroIsZeroForEverything) {
  const float source[] = {nan, -inf, inf, -1.0F, from_bits(0x7f800001), 0.0F, -0.0F, 3.0F};
  for (const float val : {0.0F, -0.0F}) {
    float result[8];
    std::memset(result, 0xff, sizeof result);
    ASSERT_EQ(ippsMulC_32f(source, val, result, 8), 0);
    for (const float r : result) {
      EXPECT_EQ(bits(r), 0U);
    }
  }
}

TEST_F(VectorPrimitives, MulCByOneIsABitExactCopy) {
  const std::uint32_t words[] = {0x7f800001, 0xffc12345, 0x7fffffff,
                                 0x80000000, 0x00000001, 0xff800000};
  float source[6];
  std::memcpy(source, words, sizeof words);
  for (const unsigned int word : float_settings::all()) {
    float result[6] = {};
    const float_settings::scope scope(word);
    ASSERT_EQ(ippsMulC_32f(source, 1.0F, result, 6), 0);
    for (int i = 0; i < 6; ++i) {
      EXPECT_EQ(bits(result[i]), words[i]);
    }
  }
}

TEST_F(VectorPrimitives, MulCByOtherConstantsMultiplies) {
  float value = 3.0F;
  ASSERT_EQ(ippsMulC_32f(&value, nan, &value, 1), 0);
  EXPECT_TRUE(std::isnan(value));
  value = 3.0F;
  ASSERT_EQ(ippsMulC_32f(&value, -1.0F, &value, 1), 0);
  EXPECT_EQ(value, -3.0F);
  // A denormal constant is not zero, even if the caller flushes denormals.
  for (const unsigned int word : float_settings::all()) {
    const float_settings::scope scope(word);
    value = inf;
    ASSERT_EQ(ippsMulC_32f(&value, 0x1p-149F, &value, 1), 0);
    EXPECT_EQ(bits(value), bits(inf));
  }
}

TEST_F(VectorPrimitives, SpecialSumsAndProducts) {
  const float a[] = {inf, inf, 0.0F, -0.0F, 1.0F, nan};
  const float b[] = {-inf, 0.0F, -0.0F, -0.0F, nan, 1.0F};
  float sum[6];
  float product[6];
  ASSERT_EQ(ippsAdd_32f(a, b, sum, 6), 0);
  ASSERT_EQ(ippsMul_32f(a, b, product, 6), 0);
  EXPECT_TRUE(std::isnan(sum[0]));
  EXPECT_EQ(bits(sum[1]), bits(inf));
  EXPECT_EQ(bits(sum[2]), 0U);
  EXPECT_EQ(bits(sum[3]), 0x80000000U);
  EXPECT_TRUE(std::isnan(sum[4]) && std::isnan(sum[5]));
  EXPECT_EQ(bits(product[0]), bits(-inf));
  EXPECT_TRUE(std::isnan(product[1]));
  EXPECT_EQ(bits(product[2]), 0x80000000U);
  EXPECT_EQ(bits(product[3]), 0U);
  EXPECT_TRUE(std::isnan(product[4]) && std::isnan(product[5]));
}

// Sign and payload of a NaN are kept, and it becomes quiet; of two NaNs the first is used.
TEST_F(VectorPrimitives, NanComesThrough) {
  constexpr std::uint32_t quiet = 0x00400000;
  const std::uint32_t nans[] = {0x7fc00000, 0xffc00001, 0x7f800002, 0xff812345, 0x7fffffff};
  for (const std::uint32_t first : nans) {
    for (const std::uint32_t second : {0x40400000U, 0x7f800000U, 0U, 0x7fc77777U, 0xff900000U}) {
      for (const int len : {1, 3, 4, 40}) {
        const std::vector<float> x(static_cast<std::size_t>(len), from_bits(first));
        const std::vector<float> y(x.size(), from_bits(second));
        const bool second_is_nan = std::isnan(y[0]);
        const auto expect = [](const std::vector<float>& r, std::uint32_t expected) {
          for (const float element : r) {
            EXPECT_EQ(bits(element), expected | quiet);
          }
        };
        std::vector<float> r(x.size());
        ippsAdd_32f(x.data(), y.data(), r.data(), len);
        expect(r, first);
        ippsMul_32f(x.data(), y.data(), r.data(), len);
        expect(r, first);
        ippsAdd_32f(y.data(), x.data(), r.data(), len);
        expect(r, second_is_nan ? second : first);
        ippsMul_32f(y.data(), x.data(), r.data(), len);
        expect(r, second_is_nan ? second : first);
        ippsMulC_32f(y.data(), x[0], r.data(), len);
        expect(r, second_is_nan ? second : first);
        if (second != 0) {
          ippsMulC_32f(x.data(), y[0], r.data(), len);
          expect(r, first);
        }
      }
    }
  }
}

TEST_F(VectorPrimitives, InPlaceEqualsOutOfPlace) {
  std::mt19937 random(3);
  std::uniform_real_distribution<float> number(-1000, 1000);
  for (int len = 1; len <= 70; ++len) {
    std::vector<float> a(static_cast<std::size_t>(len));
    std::vector<float> b(a.size());
    for (std::size_t i = 0; i < a.size(); ++i) {
      a[i] = number(random);
      b[i] = number(random);
    }
    std::vector<float> r(a.size());
    std::vector<float> x;

    ippsAdd_32f(a.data(), b.data(), r.data(), len);
    x = a;
    ippsAdd_32f(x.data(), b.data(), x.data(), len);
    EXPECT_EQ(x, r);
    x = b;
    ippsAdd_32f(a.data(), x.data(), x.data(), len);
    EXPECT_EQ(x, r);

    ippsMul_32f(a.data(), b.data(), r.data(), len);
    x = a;
    ippsMul_32f(x.data(), b.data(), x.data(), len);
    EXPECT_EQ(x, r);
    x = b;
    ippsMul_32f(a.data(), x.data(), x.data(), len);
    EXPECT_EQ(x, r);
    ippsMul_32f(a.data(), a.data(), r.data(), len);
    x = a;
    ippsMul_32f(x.data(), x.data(), x.data(), len);
    EXPECT_EQ(x, r);

    for (const float val : {0.0F, 1.0F, -2.7F}) {
      ippsMulC_32f(a.data(), val, r.data(), len);
      x = a;
      ippsMulC_32f(x.data(), val, x.data(), len);
      EXPECT_EQ(x, r);
    }
  }
}

// Nothing outside the vectors is accessed: they end, then begin, at a protected page.
TEST_F(VectorPrimitives, StaysInsideItsVectors) {
  for (const auto side : {0, 1}) {
    for (std::size_t count = 1; count <= 70; ++count) {
      const int len = static_cast<int>(count);
      using floats = protected_buffer<float>;
      const auto at = side == 0 ? floats::side::end : floats::side::begin;
      floats a(count, at);
      floats b(count, at);
      protected_buffer<unsigned char> bytes(
          count, side == 0 ? protected_buffer<unsigned char>::side::end
                           : protected_buffer<unsigned char>::side::begin);
      protected_buffer<unsigned short> words(
          count, side == 0 ? protected_buffer<unsigned short>::side::end
                           : protected_buffer<unsigned short>::side::begin);
      words.fill(0x12);
      ippsConvert_8u32f(bytes.data(), a.data(), len);
      ippsConvert_16u32f(words.data(), b.data(), len);
      EXPECT_EQ(b[count - 1], 4626.0F);
      ippsAdd_32f(a.data(), b.data(), a.data(), len);
      ippsMul_32f(a.data(), b.data(), b.data(), len);
      ippsMulC_32f(b.data(), 0x1p-17F, b.data(), len);
      ippsConvert_32f8u_Sfs(b.data(), bytes.data(), len, 1, 0);
      EXPECT_EQ(bytes[0], 163);
      EXPECT_EQ(bytes[count - 1], 163);
      ippsCopy_32f(a.data(), b.data(), len);
      ippsZero_32f(a.data(), len);
      EXPECT_EQ(a[count - 1], 0.0F);
      EXPECT_EQ(b[count - 1], 4626.0F);
    }
  }
}

// More than four gigabytes, mapped from two small pieces of memory: the first piece repeatedly, and
// the second one at the end.
class endless_vector {
 public:
  static constexpr std::size_t piece = std::size_t{1} << 21;
  static constexpr std::size_t pieces = 2049;
  static constexpr int len = (1 << 30) + 4;

  endless_vector() {
    const int file = memfd_create("piece", 0);
    if (file < 0 || ftruncate(file, 2 * piece) != 0) {
      return;
    }
    void* const area = mmap(nullptr, piece * pieces, PROT_NONE,
                            MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    mapped_ = area != MAP_FAILED;
    base_ = static_cast<unsigned char*>(area);
    for (std::size_t i = 0; mapped_ && i < pieces; ++i) {
      const off_t offset = i + 1 < pieces ? 0 : static_cast<off_t>(piece);
      mapped_ = mmap(base_ + i * piece, piece, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_FIXED, file,
                     offset) != MAP_FAILED;
    }
    close(file);
  }
  ~endless_vector() {
    if (base_ != nullptr) {
      munmap(base_, piece * pieces);
    }
  }
  endless_vector(const endless_vector&) = delete;
  endless_vector& operator=(const endless_vector&) = delete;

  bool mapped() const { return mapped_; }
  float* data() { return reinterpret_cast<float*>(base_); }
  float* last() { return data() + len - 1; }

 private:
  bool mapped_ = false;
  unsigned char* base_ = nullptr;
};

TEST_F(VectorPrimitives, ByteCountsBeyondFourGigabytes) {
  endless_vector vector;
  if (!vector.mapped()) {
    GTEST_SKIP() << "no address space for four gigabytes";
  }
  vector.data()[9] = 5.0F;
  vector.last()[0] = 7.0F;
  vector.last()[1] = 8.0F;
  ASSERT_EQ(ippsZero_32f(vector.data(), endless_vector::len), 0);
  EXPECT_EQ(vector.data()[9], 0.0F);
  EXPECT_EQ(vector.last()[0], 0.0F);
  EXPECT_EQ(vector.last()[1], 8.0F);

  endless_vector copy;
  if (!copy.mapped()) {
    GTEST_SKIP() << "no address space for four gigabytes more";
  }
  vector.last()[0] = 7.0F;
  ASSERT_EQ(ippsCopy_32f(vector.data(), copy.data(), endless_vector::len), 0);
  EXPECT_EQ(copy.last()[0], 7.0F);
  EXPECT_EQ(copy.last()[1], 0.0F);
}

}  // namespace
