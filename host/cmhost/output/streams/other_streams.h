#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/cmhost/output/streams/track.h"
#include "host/cmhost/source.h"
#include "host/cmhost/support/av.h"

namespace cmhost {

/// The streams of the output other than the marked video. Not thread-safe.
class OtherStreams {
 public:
  /// Keeps a reference to `format`, the output. `writer` is called with its packets.
  OtherStreams(AVFormatContext& format, PacketWriter writer)
      : format_(format), writer_(std::move(writer)) {}

  /// Adds all streams of `source` except the marked video to the output, whose first stream is the
  /// encoded video. Streams that the container does not support are left out with a warning.
  void addAll(const Source& source);

  /// Indexes of the streams that were left out.
  const std::vector<int>& leftOut() const { return leftOut_; }

  /// Writes a packet of the input, by its stream's index. Packets of streams that were left out are
  /// ignored. Throws `Failure`.
  void add(const AVPacket& packet);

  /// Writes what is left after the last packet. Throws `Failure`.
  void finish();

 private:
  std::unique_ptr<Track> trackFor(const AVStream& from);

  AVFormatContext& format_;
  PacketWriter writer_;
  std::vector<int> leftOut_;
  std::vector<std::unique_ptr<Track>> tracks_;  ///< by index of the input's stream; null: left out
};

}  // namespace cmhost
