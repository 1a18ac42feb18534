#pragma once

#include <vector>

#include "host/cmhost/av.h"

namespace cmhost {

/// Finds a last picture that has been cut off in streams of H.264 and HEVC that nothing but the
/// next picture delimits. Their decoders invent what a cut slice lacks from whatever lies behind
/// it. A whole slice says where it ends: what is appended to it does not matter. So the pictures
/// since the last key frame are decoded twice, with different bytes behind the last one.
class LastPicture {
 public:
  /// Starts keeping packets of `stream`, when its last picture has no other end.
  void begin(const AVFormatContext& format, const AVStream& stream);

  /// Takes the next packet of the stream.
  void addPacket(const AVPacket& packet);

  /// Whether the last picture depends on what lies behind it. False, too, when its distance from
  /// the last key frame is too long to decode it again.
  bool isCut() const;

 private:
  const AVCodecParameters* parameters_ = nullptr;  ///< null: nothing to do
  std::vector<PacketPtr> packets_;                 ///< from the last key frame on
  std::size_t bytes_ = 0;
};

}  // namespace cmhost
