#include <benchmark/benchmark.h>

#include <cstring>
#include <string>

#include "bench/gaussian_plane.h"
#include "bench/level.h"
#include "signal/gaussian_filter.h"
#include "signal/processor_variant.h"

namespace ns_bench {
namespace {

template <typename T>
void filter(const gaussian_plane<T>& source, gaussian_plane<T>& target, int mask) {
  constexpr IppiSize region = {gaussian_plane<T>::width, gaussian_plane<T>::height};
  if constexpr (sizeof(T) == 1) {
    ippiFilterGauss_8u_C1R(source.first(), source.stride, target.first(), target.stride, region,
                           mask);
  } else {
    ippiFilterGauss_16u_C1R(source.first(), source.stride, target.first(), target.stride, region,
                            mask);
  }
}

template <typename T>
void run(benchmark::State& state, int mask) {
  const gaussian_plane<T> source;
  gaussian_plane<T> target;
  for (auto _ : state) {
    filter(source, target, mask);
    benchmark::ClobberMemory();
  }
}

template <typename T>
void copy(benchmark::State& state) {
  const gaussian_plane<T> source;
  gaussian_plane<T> target;
  for (auto _ : state) {
    for (int y = 0; y < source.height; ++y) {
      std::memcpy(target.row(y), source.row(y), source.width * sizeof(T));
    }
    benchmark::ClobberMemory();
  }
}

template <typename T>
void add(const std::string& group, int mask) {
  benchmark::RegisterBenchmark((group + "/ours").c_str(), [mask](benchmark::State& state) {
    apply_level();
    run<T>(state, mask);
  });
  benchmark::RegisterBenchmark((group + "/copy").c_str(), copy<T>);
}

// Only the variants below index 3 use thread teams, so this is measured at index 2 for any level.
// It uses wall-clock time and many short repetitions; the least one counts, because no other
// program has disturbed it.
void add_teams(const std::string& group, int mask) {
  const auto add_team = [&](const char* subject, int threads) {
    const auto run_team = [=](benchmark::State& state) {
      apply_level();
      const int chosen = ippJumpIndexForMergedLibs;
      ippJumpIndexForMergedLibs = chosen < 2 ? chosen : 2;
      ippSetNumThreads(threads);
      run<unsigned char>(state, mask);
    };
    benchmark::RegisterBenchmark((group + subject).c_str(), run_team)
        ->UseRealTime()
        ->MinTime(0.002)
        ->Repetitions(100);
  };
  add_team("/ours", 2);
  add_team("/one_thread", 1);
}

bool add_all() {
  add<unsigned char>("gauss_3x3_8/1080p", 33);
  add<unsigned char>("gauss_5x5_8/1080p", 55);
  add<unsigned short>("gauss_3x3_16/1080p", 33);
  add<unsigned short>("gauss_5x5_16/1080p", 55);
  add_teams("gauss_3x3_8_team/1080p", 33);
  add_teams("gauss_5x5_8_team/1080p", 55);
  return true;
}

[[maybe_unused]] const bool registered = add_all();

}  // namespace
}  // namespace ns_bench
