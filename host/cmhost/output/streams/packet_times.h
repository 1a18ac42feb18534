#pragma once

#include <cstdint>

#include "host/cmhost/support/av.h"

namespace cmhost {

/// Keeps the time stamps of one stream in the order that muxers require. A packet whose decoding
/// time is not after that of the packet before is moved there; packets that are in order again keep
/// their times, so that the stream stays in step.
class PacketTimes {
 public:
  /// Orders the time stamps of the next packet of `stream`, a stream of `container`. Returns true
  /// if it was moved by more than a rounding error.
  bool order(AVPacket& packet, const AVStream& stream, const AVOutputFormat& container);

 private:
  std::int64_t last_ = AV_NOPTS_VALUE;  ///< decoding time of the packet before
};

}  // namespace cmhost
