#pragma once

#include <chrono>
#include <cstdint>

namespace cmhost {

/// The line on a terminal that says how far the run is. Prints nothing elsewhere.
class Progress {
 public:
  /// `expected` is the number of frames to come, 0 when not known.
  explicit Progress(std::int64_t expected);

  /// Says that `frames` are done.
  void show(std::int64_t frames);

  /// Takes the line away.
  void clear();

  double seconds() const;

 private:
  using Clock = std::chrono::steady_clock;

  std::int64_t expected_;
  bool onTerminal_;
  Clock::time_point start_;
};

}  // namespace cmhost
