#pragma once

#include <cstdint>

#include "host/cmhost/support/av.h"

namespace cmhost {

/// Detects frames of an MP4 or QuickTime file that its edit list hides by mistake. An edit list
/// hides frames outside the presented range, and a wrong time stamp in the index moves a frame out
/// of that range. Such a frame is shown far too long before or after it is decoded.
class HiddenPictures {
 public:
  /// Starts checking the packets of a video stream.
  void begin(const AVFormatContext& format);

  /// Adds the next packet of the stream.
  void addPacket(const AVPacket& packet);

  /// Whether frames are hidden by mistake. Call it after reading the whole file.
  bool areLost() const;

 private:
  bool hasEditList_ = false;
  std::int64_t lastTime_ = AV_NOPTS_VALUE;  ///< decoding time of the last packet
  std::int64_t longestPicture_ = 0;         ///< longest time between two packets
  std::int64_t longestReordering_ = 0;      ///< of hidden frames, from decoding to display
};

}  // namespace cmhost
