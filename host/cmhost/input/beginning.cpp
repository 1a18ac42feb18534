#include "host/cmhost/input/beginning.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <utility>

namespace cmhost {

void Beginning::open(const AVFormatContext& format, const AVStream& video, bool later) {
  container_ = format.iformat;
  codec_ = video.codecpar->codec_id;
  later_ = later;
  awaitsKeyFrame_ = startsAnywhere() && codec_ == AV_CODEC_ID_HEVC;
}

// Ogg always starts with headers and a key frame. So does an MPEG program stream, unless it is a
// later part of a split stream, as on a DVD.
bool Beginning::startsAnywhere() const {
  if (std::strcmp(container_->name, "ogg") == 0) return false;
  if (std::strcmp(container_->name, "mpeg") == 0 && beginsWithSequence_) return false;
  return (container_->flags & AVFMT_TS_DISCONT) != 0;
}

// The MPEG video decoder silently skips data before the first sequence header.
void Beginning::noteSequence(const AVPacket& packet) {
  static constexpr std::uint8_t startCode[] = {0, 0, 1};
  constexpr std::uint8_t sequence = 0xB3;
  if (codec_ != AV_CODEC_ID_MPEG1VIDEO && codec_ != AV_CODEC_ID_MPEG2VIDEO) return;
  const std::uint8_t* const end = packet.data + packet.size;
  const std::uint8_t* const code = std::search<const std::uint8_t*>(
      packet.data, end, std::begin(startCode), std::end(startCode));
  beginsWithSequence_ = end - code > 3 && code[3] == sequence;
  if (!beginsWithSequence_ && startsAnywhere()) skip();
}

bool Beginning::admits(const AVPacket& packet) {
  if (std::exchange(atFirstPacket_, false)) noteSequence(packet);
  if (!awaitsKeyFrame_) return true;
  awaitsKeyFrame_ = (packet.flags & AV_PKT_FLAG_KEY) == 0;
  if (awaitsKeyFrame_) skip();
  return !awaitsKeyFrame_;
}

}  // namespace cmhost
