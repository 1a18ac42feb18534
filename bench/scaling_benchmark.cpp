#include "bench/scaling_benchmark.h"

#include <benchmark/benchmark.h>

namespace ns_bench {
namespace {

struct sizes {
  const char* name;
  unsigned int in_width, in_height, out_width, out_height;
};

constexpr sizes all_sizes[] = {{"720p_to_1080p", 1280, 720, 1920, 1080},
                               {"1080p_to_720p", 1920, 1080, 1280, 720},
                               {"1080p_to_2160p", 1920, 1080, 3840, 2160}};

}  // namespace

bool register_scaling(const std::string& method, const std::string& subject, picture_layout layout,
                      scaler prepare) {
  for (const sizes& pair : all_sizes) {
    std::string name = method;
    name.append("/").append(pair.name).append("/").append(subject);
    const auto run = [=](benchmark::State& state) {
      const picture from(layout, pair.in_width, pair.in_height);
      const picture to(layout, pair.out_width, pair.out_height);
      const work scale = prepare(from, to);
      for (auto _ : state) {
        scale();
        benchmark::ClobberMemory();
      }
    };
    benchmark::RegisterBenchmark(name.c_str(), run);
  }
  return true;
}

}  // namespace ns_bench
