#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "host/cmhost/options.h"

namespace cmhost {

/// The text of the progress line: a percentage and the remaining time if the number of expected
/// frames is known (above 0), otherwise only the number of frames.
std::string progressText(std::int64_t frames, std::int64_t expected, double seconds);

/// Shows progress on standard error: on a terminal in one line that is updated in place; otherwise,
/// if requested, one line per second.
class Progress {
 public:
  /// `expected` is the total number of frames, 0 when unknown.
  Progress(ProgressMode mode, std::int64_t expected);

  /// Updates the progress: `frames` are finished.
  void show(std::int64_t frames);

  /// Clears the line.
  void clear();

  double seconds() const;

 private:
  using Clock = std::chrono::steady_clock;

  std::int64_t expected_;
  bool onTerminal_;
  bool shown_;
  Clock::time_point start_;
  double nextLine_ = 1;  ///< time of the next line in seconds, if not on a terminal
};

}  // namespace cmhost
