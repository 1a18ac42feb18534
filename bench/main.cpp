// benchmarks [--level=LEVEL] [option of Google Benchmark...]
//
// Names are GROUP/SUBJECT: what is done, and by whom. The subjects of a group do the same work on
// the same pictures; "ours" is this project and "copy" moves the same bytes.

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <cstdio>
#include <string>

#include "bench/level.h"

namespace {

// Takes the option out of the arguments. False when it names no level of this machine.
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

// Released memory stays with the program. Otherwise the C library gives large blocks back to the
// system, or not, as earlier blocks happened to be, and getting them again costs many times what is
// measured here.
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
