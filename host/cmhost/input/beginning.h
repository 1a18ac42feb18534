#pragma once

#include "host/cmhost/support/av.h"

namespace cmhost {

/// The beginning of a video, up to its first complete picture. A recording of a broadcast may start
/// anywhere, and so may a part of a file: what comes first there may refer to what was sent
/// earlier, and is no damage.
class Beginning {
 public:
  /// Takes an opened file, of which `video` is decoded. `later` says that only a part is read.
  void open(const AVFormatContext& format, const AVStream& video, bool later);

  /// Looks at the next packet of the video. Whether the decoder should get it: the one for HEVC
  /// would invent what pictures before the first key frame refer to.
  bool admits(const AVPacket& packet);

  /// Whether damage before the first complete picture is to be expected.
  bool mayBeIncomplete() const { return later_ || startsAnywhere(); }

  /// Notes that something before the first complete picture is left out.
  void skip() { skipped_ = !later_; }

  /// Whether something that the file holds was left out. What comes before a part does not count.
  bool wasSkipped() const { return skipped_; }

 private:
  bool startsAnywhere() const;
  void noteSequence(const AVPacket& packet);

  const AVInputFormat* container_ = nullptr;
  AVCodecID codec_ = AV_CODEC_ID_NONE;
  bool later_ = false;
  bool awaitsKeyFrame_ = false;
  bool atFirstPacket_ = true;
  bool beginsWithSequence_ = false;  ///< so does the first packet, in MPEG video
  bool skipped_ = false;
};

}  // namespace cmhost
