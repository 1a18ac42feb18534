#pragma once

#include <chrono>
#include <cstdint>

namespace cmhost {

/// Counts the frames of a live run that are late: finished more than one second later than their
/// time stamps say, counted from the first frame. Not thread-safe.
class LateFrames {
 public:
  using Seconds = std::chrono::duration<double>;

  /// Adds the next frame: its time stamp, and the time at which it was finished.
  void add(Seconds timeStamp, Seconds finished);

  std::int64_t count() const { return count_; }

 private:
  bool hasStart_ = false;
  Seconds lastStamp_{};
  Seconds start_{};  ///< when a frame with the time stamp 0 would be due
  std::int64_t count_ = 0;
};

}  // namespace cmhost
