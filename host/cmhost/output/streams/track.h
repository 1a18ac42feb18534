#pragma once

#include <functional>

#include "host/cmhost/support/av.h"

namespace cmhost {

/// Writes a packet to the output. Its stream index and time stamps are those of the output's
/// stream.
using PacketWriter = std::function<void(AVPacket& packet)>;

/// Makes one stream of the output from one stream of the input. Not thread-safe.
class Track {
 public:
  Track() = default;
  virtual ~Track() = default;
  Track(const Track&) = delete;
  Track& operator=(const Track&) = delete;

  /// Adds the next packet of the input's stream, with time stamps in that stream's time base.
  /// Throws `Failure`.
  virtual void add(const AVPacket& packet) = 0;

  /// Writes what is left after the last packet. Throws `Failure`.
  virtual void finish() {}
};

}  // namespace cmhost
