#pragma once

#include <cstdint>

#include "host/cmhost/support/av.h"

namespace cmhost {

/// Finds out whether pictures of an MP4 or QuickTime file are hidden by mistake. Its edit list
/// hides what lies outside the part to be shown, and a wrong time in the tables puts a picture
/// there. Seen when it is much too far from the time at which it is decoded.
class HiddenPictures {
 public:
  /// Starts looking at packets of a video.
  void begin(const AVFormatContext& format);

  /// Takes the next packet of the video.
  void addPacket(const AVPacket& packet);

  /// Whether pictures are hidden by mistake, when all of the file has been read.
  bool areLost() const;

 private:
  bool hasEditList_ = false;
  std::int64_t lastTime_ = AV_NOPTS_VALUE;  ///< at which the last packet is decoded
  std::int64_t longestPicture_ = 0;         ///< from one packet to the next
  std::int64_t longestReordering_ = 0;      ///< of hidden packets, from decoding to showing
};

}  // namespace cmhost
