#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "host/cmhost/options.h"

namespace cmhost {

/// The text of the progress line: a percentage and the remaining time if the number of expected
/// frames is known (above 0), otherwise only the number of frames.
std::string progressText(std::int64_t frames, std::int64_t expected, double seconds);

/// A line of --progress=json.
struct ProgressLine {
  const char* event;  ///< "progress" or "end"
  std::string input;
  std::int64_t frames;
  std::int64_t expected;  ///< 0 when unknown
  double seconds;         ///< of the video
  double elapsed;         ///< seconds since the start
  std::int64_t damage;    ///< number of errors concealed
  std::int64_t late;      ///< number of late frames; -1 unless the run is live
};

/// How a run has ended; `error` is empty unless it has failed.
struct ProgressEnd {
  int status;
  std::string error;
};

/// Prints a line as a JSON object on standard error, at the end of a run with `end`.
void printProgressLine(const ProgressLine& line);
void printProgressLine(const ProgressLine& line, const ProgressEnd& end);

/// Shows progress on standard error: on a terminal in one line that is updated in place; otherwise,
/// if requested, one line per second, as text or as JSON.
class Progress {
 public:
  /// What has been done so far.
  struct State {
    std::int64_t frames;
    double seconds;       ///< of the video
    std::int64_t damage;  ///< number of errors concealed
    std::int64_t late;    ///< number of late frames; -1 unless the run is live
  };

  /// `expected` is the total number of frames, 0 when unknown.
  Progress(const Options& options, std::int64_t expected);

  /// Updates the progress.
  void show(const State& state);

  /// Clears the line.
  void clear();

  double seconds() const;

 private:
  using Clock = std::chrono::steady_clock;

  std::string input_;
  std::int64_t expected_;
  bool asJson_;
  bool onTerminal_;
  bool shown_;
  Clock::time_point start_;
  double nextLine_ = 1;  ///< time of the next line in seconds, if not on a terminal
};

}  // namespace cmhost
