#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "host/cmhost/input/part.h"
#include "host/cmhost/support/av.h"

namespace cmhost {

/// Passes on the packets of all streams except the filtered one, trimmed and shifted to the part.
/// Packets are queued until there is a sink.
class OtherPackets {
 public:
  /// Called with each packet, in file order.
  using Sink = std::function<void(AVPacket& packet)>;

  /// `input` names the file in messages.
  OtherPackets(std::string input, const Part& part) : input_(std::move(input)), part_(part) {}

  /// Passes on a packet of `stream`. Throws `Failure` when the queue grows too long.
  void add(AVPacket& packet, const AVStream& stream);

  /// Sets the sink and sends it the queued packets. The part must have begun.
  void sendTo(Sink sink);

 private:
  struct Waiting {
    PacketPtr packet;
    const AVStream* stream;
  };

  void pass(AVPacket& packet, const AVStream& stream);

  std::string input_;
  const Part& part_;
  Sink sink_;
  std::vector<Waiting> waiting_;
  std::size_t waitingBytes_ = 0;
};

}  // namespace cmhost
