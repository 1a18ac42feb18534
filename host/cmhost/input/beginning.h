#pragma once

#include "host/cmhost/support/av.h"

namespace cmhost {

/// Handles the start of a video, up to its first complete frame. A broadcast recording may start
/// anywhere, and so may a part of a file. Its first packets may refer to frames before the start,
/// which is not damage.
class Beginning {
 public:
  /// Starts with an opened file; `video` is the decoded stream. `later`: reading starts inside the
  /// file.
  void open(const AVFormatContext& format, const AVStream& video, bool later);

  /// Whether to send the next video packet to the decoder. The HEVC decoder would generate missing
  /// reference frames before the first key frame.
  bool admits(const AVPacket& packet);

  /// Whether damage before the first complete frame is expected.
  bool mayBeIncomplete() const { return later_ || startsAnywhere(); }

  /// Records that data before the first complete frame is dropped.
  void skip() { skipped_ = !later_; }

  /// Whether data of the file was dropped. Data before a selected part does not count.
  bool wasSkipped() const { return skipped_; }

 private:
  bool startsAnywhere() const;
  void noteSequence(const AVPacket& packet);

  const AVInputFormat* container_ = nullptr;
  AVCodecID codec_ = AV_CODEC_ID_NONE;
  bool later_ = false;
  bool awaitsKeyFrame_ = false;
  bool atFirstPacket_ = true;
  bool beginsWithSequence_ =
      false;  ///< the first packet of MPEG video starts with a sequence header
  bool skipped_ = false;
};

}  // namespace cmhost
