#pragma once

#include <cstdint>

#include "host/cmhost/support/av.h"

namespace cmhost {

/// Counts the packets of a video stream if the container declares their number. The demuxers of AVI
/// and MXF silently skip packets whose header is destroyed.
class PacketCount {
 public:
  /// Starts counting the packets of `video`, whose index must have been read.
  void begin(const AVFormatContext& format, const AVStream& video);

  /// Adds the next packet of the stream.
  void addPacket(const AVPacket& packet);

  /// Adds a frame returned by the decoder.
  void addPicture() { ++pictures_; }

  /// The number of frames that the file should contain, once all of it has been read; 0 when none
  /// are missing or the container does not declare it.
  std::int64_t expected() const;

  /// The number of packets or frames, whichever is greater: a packet may hold several frames.
  std::int64_t found() const;

 private:
  enum class Kind { unknown, avi, mxf };

  Kind kind_ = Kind::unknown;
  std::int64_t declared_ = 0;       ///< frames
  std::int64_t declaredBytes_ = 0;  ///< of all packets, in AVI
  std::int64_t packets_ = 0;
  std::int64_t bytes_ = 0;
  std::int64_t pictures_ = 0;
  std::int64_t timesEnd_ = 0;  ///< of the last packet, in frames; -1: time stamps are missing
};

}  // namespace cmhost
