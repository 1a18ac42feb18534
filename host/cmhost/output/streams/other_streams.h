#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/cmhost/options.h"
#include "host/cmhost/output/streams/packet_times.h"
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

  /// Adds the streams of `source` except the marked video to the output, whose first stream is the
  /// encoded video. Sound and text subtitles that the container does not support are converted.
  /// Streams that are left out are reported by a warning or, with --strict, by a `Failure`.
  void addAll(const Source& source, const Options& options);

  /// Writes a packet of the input, by its stream's index. Packets of streams that were left out are
  /// ignored. Throws `Failure`.
  void add(const AVPacket& packet);

  /// Writes what is left after the last packet. Throws `Failure`.
  void finish();

  /// Indexes of the streams of the input that are not in the output.
  const std::vector<int>& leftOut() const { return leftOut_; }

  /// Names these streams, and streams of sound without packets. Call it after `finish`.
  std::string leftOutText() const;

 private:
  struct Other {
    std::string name;  ///< of the input's stream, for messages
    bool isSound = false;
    std::unique_ptr<Track> track;  ///< null: left out, or the output's container creates it
    std::int64_t packets = 0;
  };

  std::unique_ptr<Track> trackFor(const AVStream& from);
  std::unique_ptr<Track> encodedSound(const AVStream& from);
  std::unique_ptr<Track> convertedSubtitles(const AVStream& from);
  void leaveOut(const AVStream& from, const std::string& reason);
  void addLate(const AVPacket& packet);
  void write(AVPacket& packet);
  PacketWriter writer();

  AVFormatContext& format_;
  PacketWriter writer_;
  std::optional<Source> source_;
  const Options* options_ = nullptr;
  std::vector<Other> others_;       ///< by index of the input's stream
  std::vector<PacketTimes> times_;  ///< by index of the output's stream
  std::vector<bool> warnedOfTimes_;
  std::vector<int> leftOut_;  ///< by index of the input's stream
  std::string refused_;       ///< what --strict does not allow
};

}  // namespace cmhost
