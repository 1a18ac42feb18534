#pragma once

#include <functional>
#include <vector>

#include "host/cmhost/support/av.h"

namespace cmhost {

/// Detects a truncated last frame in streams that do not delimit their frames. Decoders of H.264
/// and HEVC fill the end of a truncated slice with whatever data follows it. A complete slice has a
/// defined end, so data appended to it has no effect. The frames since the last key frame are
/// therefore decoded twice, with different data appended to the last one.
class LastPicture {
 public:
  /// Threads to decode with: as many as suit the frame size, or only the caller's.
  enum class Threads { many, own };

  /// Starts keeping the packets of `stream` if the container does not delimit frames.
  void begin(const AVFormatContext& format, const AVStream& stream);

  /// Adds the next packet of the stream.
  void addPacket(const AVPacket& packet);

  /// Discards the packets kept: the last one will not be decoded.
  void leaveOut() { packets_.clear(); }

  /// Whether the last frame depends on data after it. Also false when it is too far from the last
  /// key frame to be decoded again.
  bool isCut(Threads threads = Threads::many) const;

  /// Decodes the frames since the last key frame on this thread. Returns false if the decoder fails
  /// on the last one or if there are too many. Errors logged between `count(true)` and
  /// `count(false)` belong to the last frame. Returns true if the container delimits its frames.
  bool decodes(const std::function<void(bool)>& count) const;

 private:
  const AVCodecParameters* parameters_ = nullptr;  ///< null if the container delimits frames
  bool mayBeInvented_ = false;                     ///< the decoder may fill in a truncated end
  std::vector<PacketPtr> packets_;                 ///< since the last key frame
  std::size_t bytes_ = 0;
};

}  // namespace cmhost
