// benchmarks [--level=LEVEL] [option of Google Benchmark...]
//
// Names are GROUP/SUBJECT: the work, and the library that does it. The subjects of a group do the
// same work on the same pictures; "ours" is this project and "copy" copies the same bytes.

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <cstdio>
#include <string>

#include "bench/level.h"

namespace {

// Removes the option from the arguments. False if this machine does not have the level.
bool take_level(int& argc, char** argv) {
  const std::string option = "--level=";
  int kept = 1;
  bool known = true;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument.compare(0, option.size(), option) == 0) {
      known = ns_bench::force_level(argument.substr(option.size()));
    } else {
      argv[kept++] = argv[i];
    }
  }
  argc = kept;
  return known;
}

// Freed memory stays with the process. Otherwise, depending on earlier blocks, the C library may
// return large blocks to the system, and to allocate them again takes many times longer than the
// work that is measured here.
void keep_released_memory() {
  mallopt(M_MMAP_MAX, 0);
  mallopt(M_TRIM_THRESHOLD, 1 << 30);
}

}  // namespace

int main(int argc, char** argv) {
  keep_released_memory();
  if (!take_level(argc, argv)) {
    std::fputs("benchmarks: this machine has no such level\n", stderr);
    return 2;
  }
  benchmark::AddCustomContext("level", ns_bench::level_name());
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
