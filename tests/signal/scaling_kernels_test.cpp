#include "signal/scaling_kernels.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "signal/dispatch.h"
#include "signal/float_environment.h"
#include "signal/vector_primitives.h"
#include "tests/signal/variant_scope.h"
#include "tests/support/guarded_buffer.h"

// The scaling kernels of every level that the machine supports, compared with their definition: the
// sequence of vector primitives, run with the portable code.

namespace {

using ns_signal::scaling_kernels;
using ns_signal::variant;
using test_support::fill_pattern;
using test_support::guarded_buffer;
using test_support::protected_edge;

float from_bits(std::uint32_t word) {
  float value = 0;
  std::memcpy(&value, &word, sizeof value);
  return value;
}

// Typical weights of kernels, and some that produce all special values.
float random_weight(std::mt19937& random) {
  constexpr std::uint32_t special[] = {0x00000000, 0x80000000, 0x3f800000, 0x7f800000, 0xff800000,
                                       0x7fc00000, 0x4f000000, 0xcf000000, 0x7f7fffff, 0x00000001};
  if (random() % 40 == 0) return from_bits(special[random() % 10]);
  return static_cast<float>(static_cast<int>(random() % 4001) - 1500) / 2000.0f;
}

template <typename T>
float random_sample(std::mt19937& random) {
  return static_cast<float>(static_cast<T>(random()));
}

void store(const std::vector<float>& sums, unsigned char* dst) {
  ippsConvert_32f8u_Sfs(sums.data(), dst, static_cast<int>(sums.size()), 1, 0);
}

void store(const std::vector<float>& sums, unsigned short* dst) {
  for (std::size_t i = 0; i < sums.size(); ++i) {
    if (sums[i] >= 65536.0f) {
      dst[i] = 65535;
    } else {
      dst[i] = sums[i] > 0.0f ? static_cast<unsigned short>(sums[i]) : 0;
    }
  }
}

// The taps of a row, each multiplied and then added to the sum of the previous ones.
template <typename T>
std::vector<T> defined_row(std::vector<std::vector<float>> taps,
                           const std::vector<std::vector<float>>& weights) {
  const variant_scope portable(ns_signal::portable_variant);
  const int len = static_cast<int>(taps[0].size());
  for (std::size_t k = 0; k < taps.size(); ++k) {
    ippsMul_32f(taps[k].data(), weights[k].data(), taps[k].data(), len);
    if (k > 0) ippsAdd_32f(taps[k].data(), taps[0].data(), taps[0].data(), len);
  }
  std::vector<T> row(taps[0].size());
  store(taps[0], row.data());
  return row;
}

template <typename T>
struct kernels_for;

template <>
struct kernels_for<unsigned char> {
  static auto rows(const scaling_kernels& k) { return k.weigh_rows_8u; }
  static auto columns(const scaling_kernels& k) { return k.weigh_columns_8u; }
  static auto pick(const scaling_kernels& k) { return k.pick_columns_8u; }
};

template <>
struct kernels_for<unsigned short> {
  static auto rows(const scaling_kernels& k) { return k.weigh_rows_16u; }
  static auto columns(const scaling_kernels& k) { return k.weigh_columns_16u; }
  static auto pick(const scaling_kernels& k) { return k.pick_columns_16u; }
};

std::vector<int> lengths() {
  std::vector<int> list;
  for (int len = 1; len <= 130; ++len) list.push_back(len);
  list.insert(list.end(), {255, 256, 257, 640, 1919, 1920});
  return list;
}

class ScalingKernels : public testing::TestWithParam<const variant*> {
 protected:
  const scaling_kernels& kernels() { return *GetParam()->scaling; }
  std::mt19937 random_{20240607};
};

template <typename T>
void check_rows(const scaling_kernels& kernels, std::mt19937& random) {
  for (const int len : lengths()) {
    for (const std::size_t taps : {2u, 4u}) {
      const auto count = static_cast<std::size_t>(len);
      std::vector<std::vector<float>> rows(taps, std::vector<float>(count));
      std::vector<float> weights(taps);
      std::vector<std::vector<float>> weight_rows;
      for (std::size_t k = 0; k < taps; ++k) {
        for (float& sample : rows[k]) sample = random_sample<T>(random);
        weights[k] = random_weight(random);
        weight_rows.emplace_back(count, weights[k]);
      }
      const std::vector<T> expected = defined_row<T>(rows, weight_rows);
      for (const protected_edge edge : {protected_edge::begin, protected_edge::end}) {
        std::vector<std::unique_ptr<guarded_buffer>> inputs;
        const float* pointers[4] = {};
        for (std::size_t k = 0; k < taps; ++k) {
          inputs.push_back(
              std::make_unique<guarded_buffer>(count * sizeof(float), edge, fill_pattern::checker));
          std::memcpy(inputs[k]->data(), rows[k].data(), count * sizeof(float));
          pointers[k] = reinterpret_cast<const float*>(inputs[k]->data());
        }
        guarded_buffer out(count * sizeof(T), edge, fill_pattern::inverse_checker);
        const ns_signal::float_environment plain;
        kernels_for<T>::rows(kernels)(pointers, weights.data(), static_cast<int>(taps),
                                      reinterpret_cast<T*>(out.data()), len);
        ASSERT_EQ(std::memcmp(out.data(), expected.data(), count * sizeof(T)), 0)
            << len << " samples, " << taps << " taps";
        ASSERT_EQ(out.damage(), "");
      }
    }
  }
}

// Indices that never decrease, `step` apart on average.
std::vector<unsigned int> random_index(std::size_t count, double step, std::mt19937& random) {
  std::vector<unsigned int> index(count);
  double position = static_cast<double>(random() % 5);
  for (unsigned int& entry : index) {
    entry = static_cast<unsigned int>(position);
    position += step * static_cast<double>(random() % 2001) / 1000.0;
  }
  return index;
}

template <typename T>
void check_columns(const scaling_kernels& kernels, std::mt19937& random) {
  for (const int len : lengths()) {
    for (const double step : {0.0, 0.4, 0.67, 1.0, 1.5, 2.2, 3.5, 9.0}) {
      const std::size_t taps = random() % 2 == 0 ? 2 : 4;
      const int row_count = 1 + static_cast<int>(random() % 4);
      const auto count = static_cast<std::size_t>(len);
      const std::vector<unsigned int> index = random_index(count, step, random);
      const std::size_t width = index.back() + ns_signal::columns_padding;
      std::vector<std::vector<float>> weights(taps, std::vector<float>(count));
      const float* weight_rows[4] = {};
      for (std::size_t k = 0; k < taps; ++k) {
        for (float& weight : weights[k]) weight = random_weight(random);
        weight_rows[k] = weights[k].data();
      }
      std::vector<std::vector<float>> rows(static_cast<std::size_t>(row_count));
      std::vector<std::unique_ptr<guarded_buffer>> results;
      const float* row_pointers[4] = {};
      T* result_pointers[4] = {};
      for (std::size_t r = 0; r < rows.size(); ++r) {
        rows[r].assign(width, from_bits(0x7fc00000));  // values after the taps do not matter
        for (std::size_t i = 0; i < index.back() + taps; ++i) {
          rows[r][i] = random_sample<T>(random);
        }
        row_pointers[r] = rows[r].data();
        results.push_back(std::make_unique<guarded_buffer>(count * sizeof(T), protected_edge::end,
                                                           fill_pattern::checker));
        result_pointers[r] = reinterpret_cast<T*>(results[r]->data());
      }
      {
        const ns_signal::float_environment plain;
        kernels_for<T>::columns(kernels)(row_pointers, row_count, index.data(), weight_rows,
                                         static_cast<int>(taps), result_pointers, len);
      }
      for (std::size_t r = 0; r < rows.size(); ++r) {
        std::vector<std::vector<float>> gathered(taps, std::vector<float>(count));
        for (std::size_t k = 0; k < taps; ++k) {
          for (std::size_t j = 0; j < count; ++j) gathered[k][j] = rows[r][index[j] + k];
        }
        const std::vector<T> expected = defined_row<T>(gathered, weights);
        ASSERT_EQ(std::memcmp(result_pointers[r], expected.data(), count * sizeof(T)), 0)
            << len << " columns " << step << " apart, " << taps << " taps, row " << r << " of "
            << row_count;
        ASSERT_EQ(results[r]->damage(), "");
      }
    }
  }
}

template <typename T>
void check_pick(const scaling_kernels& kernels, std::mt19937& random) {
  for (const int len : lengths()) {
    for (const double step : {0.0, 0.3, 0.5, 0.67, 1.0, 1.5, 2.0, 7.0}) {
      const auto count = static_cast<std::size_t>(len);
      const std::vector<unsigned int> index = random_index(count, step, random);
      const std::size_t width = index.back() + 1;
      guarded_buffer src(width * sizeof(T), protected_edge::end, fill_pattern::checker);
      guarded_buffer dst(count * sizeof(T), protected_edge::end, fill_pattern::checker);
      auto* const from = reinterpret_cast<T*>(src.data());
      auto* const to = reinterpret_cast<T*>(dst.data());
      for (std::size_t i = 0; i < width; ++i) from[i] = static_cast<T>(random());
      kernels_for<T>::pick(kernels)(from, index.data(), to, len);
      for (std::size_t j = 0; j < count; ++j) {
        ASSERT_EQ(to[j], from[index[j]]) << len << " columns " << step << " apart, at " << j;
      }
      ASSERT_EQ(dst.damage(), "");
    }
  }
}

TEST_P(ScalingKernels, WeighRows) {
  check_rows<unsigned char>(kernels(), random_);
  check_rows<unsigned short>(kernels(), random_);
}

TEST_P(ScalingKernels, WeighColumns) {
  check_columns<unsigned char>(kernels(), random_);
  check_columns<unsigned short>(kernels(), random_);
}

TEST_P(ScalingKernels, PickColumns) {
  check_pick<unsigned char>(kernels(), random_);
  check_pick<unsigned short>(kernels(), random_);
}

std::vector<const variant*> variants_with_kernels() {
  std::vector<const variant*> list;
  for (const variant* candidate : runnable_variants()) {
    if (candidate->scaling != nullptr) list.push_back(candidate);
  }
  return list;
}

std::string name_of(const testing::TestParamInfo<const variant*>& info) {
  return spelled(info.param);
}

INSTANTIATE_TEST_SUITE_P(Levels, ScalingKernels, testing::ValuesIn(variants_with_kernels()),
                         name_of);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(ScalingKernels);

}  // namespace
