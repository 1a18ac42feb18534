#pragma once

#include <cstdint>

#include "host/cmhost/support/av.h"

namespace cmhost {

/// Counts the packets of a video where the container says how many there are. Demuxers of AVI and
/// MXF pass over a packet whose head is destroyed without a word.
class PacketCount {
 public:
  /// Starts counting packets of `video`. Its index must have been read.
  void begin(const AVFormatContext& format, const AVStream& video);

  /// Takes the next packet of the video.
  void addPacket(const AVPacket& packet);

  /// The decoder has given a picture.
  void addPicture() { ++pictures_; }

  /// How many pictures there should be when all of the file has been read; 0 when none is missing
  /// or the container does not say.
  std::int64_t expected() const;

  /// Packets or pictures, whichever are more: a packet may hold several pictures.
  std::int64_t found() const;

 private:
  enum class Kind { unknown, avi, mxf };

  Kind kind_ = Kind::unknown;
  std::int64_t declared_ = 0;       ///< pictures
  std::int64_t declaredBytes_ = 0;  ///< of all packets, in AVI
  std::int64_t packets_ = 0;
  std::int64_t bytes_ = 0;
  std::int64_t pictures_ = 0;
  std::int64_t timesEnd_ = 0;  ///< after the last packet, in pictures; -1: some have no time
};

}  // namespace cmhost
