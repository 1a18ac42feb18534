#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "host/cmhost/options.h"

namespace cmhost {

/// The words of the line that says how far a run is: a percentage and the time left where the
/// number of frames to come is known (above 0), a count where not.
std::string progressText(std::int64_t frames, std::int64_t expected, double seconds);

/// Shows how far the run is on standard error: on a terminal in one line that changes, elsewhere,
/// where that is asked for, in a line a second.
class Progress {
 public:
  /// `expected` is the number of frames to come, 0 when not known.
  Progress(ProgressMode mode, std::int64_t expected);

  /// Says that `frames` are done.
  void show(std::int64_t frames);

  /// Takes the line away.
  void clear();

  double seconds() const;

 private:
  using Clock = std::chrono::steady_clock;

  std::int64_t expected_;
  bool onTerminal_;
  bool shown_;
  Clock::time_point start_;
  double nextLine_ = 1;  ///< in seconds; not on a terminal
};

}  // namespace cmhost
