#pragma once

#include <functional>
#include <vector>

#include "host/cmhost/support/av.h"

namespace cmhost {

/// Finds a last picture that has been cut off in streams whose pictures nothing but the next one
/// delimits. Decoders of H.264 and HEVC invent what a cut slice lacks from whatever lies behind it.
/// A whole slice says where it ends: what is appended to it does not matter. So the pictures since
/// the last key frame are decoded twice, with different bytes behind the last one.
class LastPicture {
 public:
  /// What decodes: as many threads as suit the pictures, or the caller's own.
  enum class Threads { many, own };

  /// Starts keeping packets of `stream`, when its last picture has no other end.
  void begin(const AVFormatContext& format, const AVStream& stream);

  /// Takes the next packet of the stream.
  void addPacket(const AVPacket& packet);

  /// The last packet is not decoded.
  void leaveOut() { packets_.clear(); }

  /// Whether the last picture depends on what lies behind it. False, too, when its distance from
  /// the last key frame is too long to decode it again.
  bool isCut(Threads threads = Threads::many) const;

  /// Decodes the pictures since the last key frame on this thread; returns false when the decoder
  /// fails at the last one, or when there is too much to decode. What the decoder logs counts from
  /// `count(true)` to `count(false)`. Nothing to do where the container delimits its pictures.
  bool decodes(const std::function<void(bool)>& count) const;

 private:
  const AVCodecParameters* parameters_ = nullptr;  ///< null: the container delimits pictures
  bool mayBeInvented_ = false;                     ///< the decoder may fill in a cut end
  std::vector<PacketPtr> packets_;                 ///< from the last key frame on
  std::size_t bytes_ = 0;
};

}  // namespace cmhost
