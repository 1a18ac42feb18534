// Shows that ThreadSanitizer detects races and knows how the OpenMP runtime synchronises: it must
// report `race_detection threads` and `race_detection team`, but not `race_detection ordered`.
#include <omp.h>

#include <string>
#include <thread>

namespace {

volatile int shared;

void race_of_threads() {
  std::thread other([] { shared = 1; });
  shared = 2;
  other.join();
}

void race_of_a_team() {
#pragma omp parallel num_threads(2)
  shared = omp_get_thread_num();
}

// The barrier makes the master's number visible to the team, and the end of the region makes the
// team's numbers visible to the caller.
void ordered_team() {
  int seen[2] = {};
#pragma omp parallel num_threads(2)
  {
#pragma omp master
    shared = 1;
#pragma omp barrier
    seen[omp_get_thread_num()] = shared;
  }
  shared = seen[0] + seen[1];
}

}  // namespace

int main(int argc, char** argv) {
  const std::string what = argc == 2 ? argv[1] : "";
  if (what == "threads") race_of_threads();
  if (what == "team") race_of_a_team();
  if (what == "ordered") ordered_team();
}
