#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "host/cmhost/input/part.h"
#include "host/cmhost/support/av.h"

namespace cmhost {

/// Passes on the packets of all streams except the filtered one, trimmed and shifted to the part.
/// Packets are queued until there is a sink. If the part may end earlier than the file, each cue (a
/// packet of subtitles) is held until the video has reached the end of the cue, because the end of
/// the part is known only when its last frame has been decoded.
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

  /// Sets the end of the last frame decoded, in the file, and passes on the cues that end before.
  void reach(std::int64_t end, AVRational timeBase);

  /// Ends the part where the video has got to: drops cues that start there or later, and shortens
  /// the others, also those added afterwards.
  void endPart();

  /// Passes on all held cues unchanged: the part ends with the file.
  void endFile();

 private:
  struct Waiting {
    PacketPtr packet;
    const AVStream* stream;
  };

  void pass(AVPacket& packet, const AVStream& stream);
  void passCues();
  void send(AVPacket& packet, AVRational timeBase);

  std::string input_;
  const Part& part_;
  Sink sink_;
  std::vector<Waiting> waiting_;
  std::size_t waitingBytes_ = 0;
  std::deque<Waiting> cues_;  ///< in file order, as the muxer needs them
  std::int64_t reached_ = 0;  ///< end of the last frame
  AVRational reachedTimeBase_ = {1, 1};
  bool ended_ = false;  ///< the part, at `reached_`
};

}  // namespace cmhost
