#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "host/cmhost/input/part.h"
#include "host/cmhost/support/av.h"

namespace cmhost {

/// Hands out the packets of all streams but the marked one, cut and shifted to the part. They wait
/// here until somebody takes them.
class OtherPackets {
 public:
  /// Gets each packet, in the order of the file.
  using Sink = std::function<void(AVPacket& packet)>;

  /// `input` is how messages call the file.
  OtherPackets(std::string input, const Part& part) : input_(std::move(input)), part_(part) {}

  /// Passes on a packet of `stream`. Throws `Failure` when too much waits.
  void add(AVPacket& packet, const AVStream& stream);

  /// Whoever takes the packets; those that wait go there first. The part must have begun.
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
