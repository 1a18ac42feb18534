#pragma once

#include <cstdint>
#include <functional>

#include "host/cmhost/support/av.h"

namespace cmhost {

/// Converts frames with any times to a constant rate: each tick gets the latest frame that is due
/// at it, so that frames are repeated or dropped. The time of a frame changes by half a tick at
/// most.
class ConstantRate {
 public:
  using Put = std::function<void(FramePtr)>;

  /// The time stamps of the frames that come are in `timeBase`; those of the frames that leave are
  /// in ticks of 1/`rate`. A frame of unknown duration lasts 1/`usualRate`; 0/0: one tick.
  ConstantRate(AVRational timeBase, AVRational usualRate, AVRational rate, Put put);

  /// Frames must come in the order of their times.
  void add(FramePtr frame);

  /// Passes on the last frame.
  void finish();

  /// The number of frames repeated and dropped so far.
  std::int64_t repeated() const { return repeated_; }
  std::int64_t dropped() const { return dropped_; }

 private:
  std::int64_t tickOf(std::int64_t time) const;
  void putUntil(std::int64_t tick);

  AVRational timeBase_;
  AVRational usualRate_;
  AVRational tick_;
  Put put_;
  FramePtr held_;  ///< until the time of the next one is known
  std::int64_t next_ = 0;
  bool hasPut_ = false;
  std::int64_t repeated_ = 0;
  std::int64_t dropped_ = 0;
};

}  // namespace cmhost
