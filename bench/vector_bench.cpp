#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <string>

#include "bench/level.h"
#include "bench/plain_loops.h"
#include "signal/vector_primitives.h"

namespace ns_bench {
namespace {

constexpr int length = 1920;

// Two sources and a destination, with the same distances in memory for every subject of a group.
template <typename In, typename Out>
struct vectors {
  vectors() {
    for (int i = 0; i < length; ++i) {
      // Values that every element type can represent and that the conversion to bytes has to round.
      first[i] = second[i] = static_cast<In>(static_cast<float>(i % 256) * 0.97f);
    }
  }

  alignas(64) In first[length];
  alignas(64) In second[length];
  alignas(64) Out destination[length] = {};
};

template <typename In, typename Out, typename Run>
void add(const std::string& name, Run run) {
  benchmark::RegisterBenchmark(name.c_str(), [run](benchmark::State& state) {
    apply_level();
    const auto data = std::make_unique<vectors<In, Out>>();
    for (auto _ : state) {
      run(data->first, data->second, data->destination);
      benchmark::ClobberMemory();
    }
  });
}

template <typename In, typename Out, typename Ours, typename Plain>
void compare(const std::string& primitive, Ours ours, Plain plain) {
  add<In, Out>(primitive + "/1920/ours", ours);
  add<In, Out>(primitive + "/1920/plain", plain);
  add<Out, Out>(primitive + "/1920/copy", [](const Out* source, const Out*, Out* destination) {
    std::memcpy(destination, source, length * sizeof(Out));
  });
}

bool compare_all() {
  using u8 = unsigned char;
  using u16 = unsigned short;
  compare<u8, float>(
      "convert_8u32f",
      [](const u8* a, const u8*, float* dst) { ippsConvert_8u32f(a, dst, length); },
      [](const u8* a, const u8*, float* dst) { plain_convert_8u32f(a, dst, length); });
  compare<u16, float>(
      "convert_16u32f",
      [](const u16* a, const u16*, float* dst) { ippsConvert_16u32f(a, dst, length); },
      [](const u16* a, const u16*, float* dst) { plain_convert_16u32f(a, dst, length); });
  compare<float, u8>(
      "convert_32f8u",
      [](const float* a, const float*, u8* dst) { ippsConvert_32f8u_Sfs(a, dst, length, 1, 0); },
      [](const float* a, const float*, u8* dst) { plain_convert_32f8u(a, dst, length); });
  compare<float, float>(
      "mul_c_32f",
      [](const float* a, const float*, float* dst) { ippsMulC_32f(a, 0.3f, dst, length); },
      [](const float* a, const float*, float* dst) { plain_mul_c_32f(a, 0.3f, dst, length); });
  compare<float, float>(
      "add_32f", [](const float* a, const float* b, float* dst) { ippsAdd_32f(a, b, dst, length); },
      [](const float* a, const float* b, float* dst) { plain_add_32f(a, b, dst, length); });
  compare<float, float>(
      "mul_32f", [](const float* a, const float* b, float* dst) { ippsMul_32f(a, b, dst, length); },
      [](const float* a, const float* b, float* dst) { plain_mul_32f(a, b, dst, length); });
  return true;
}

[[maybe_unused]] const bool registered = compare_all();

}  // namespace
}  // namespace ns_bench
