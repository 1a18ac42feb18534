#pragma once

#include <cstdint>
#include <map>

#include "host/cmhost/support/av.h"

namespace cmhost {

/// The times of the frames inside an encoder, which gets frame numbers, or times in another unit.
class FrameTimes {
 public:
  /// In the time base of the packets.
  struct Time {
    std::int64_t pts = 0;
    std::int64_t duration = 0;  ///< 0 when unknown
  };

  /// Remembers the time of the frame that the encoder gets with the time stamp `encoderPts`. Both
  /// time stamps must increase from frame to frame.
  void add(std::int64_t encoderPts, const Time& time);

  /// Replaces the encoder's times in a packet by those of its frame. `tick` is the time base of the
  /// encoder, `timeBase` that of the packets. Packets must be passed in the order in which the
  /// encoder returns them.
  void apply(AVPacket& packet, AVRational tick, AVRational timeBase);

  /// The number of frames for which there was no packet or an empty one. Call it after the last
  /// packet.
  std::int64_t finish();

 private:
  struct Frame {
    Time time;
    bool hasPacket = false;
  };

  std::int64_t timeAt(std::int64_t encoderTime, AVRational tick, AVRational timeBase) const;
  void forgetBefore(std::map<std::int64_t, Frame>::const_iterator end);

  std::map<std::int64_t, Frame> frames_;  ///< by the encoder's time stamp
  std::int64_t firstEncoderPts_ = 0;
  std::int64_t firstPts_ = 0;
  bool isEmpty_ = true;
  std::int64_t withoutPacket_ = 0;
};

}  // namespace cmhost
