#include "host/cmhost/output/streams/packet_times.h"

#include <algorithm>

namespace cmhost {

bool PacketTimes::order(AVPacket& packet, const AVStream& stream, const AVOutputFormat& container) {
  constexpr std::int64_t roundingError = 2;
  if ((container.flags & AVFMT_NOTIMESTAMPS) != 0) return false;
  // In all streams but video, packets are shown in the order in which they are decoded.
  if (packet.dts == AV_NOPTS_VALUE && stream.codecpar->codec_type != AVMEDIA_TYPE_VIDEO)
    packet.dts = packet.pts;
  if (packet.dts == AV_NOPTS_VALUE) return false;
  if (packet.pts != AV_NOPTS_VALUE && packet.pts < packet.dts) {
    const std::int64_t next = last_ != AV_NOPTS_VALUE ? last_ + 1 : packet.pts;
    packet.dts = std::max(std::min(packet.pts, packet.dts),
                          std::min(std::max(packet.pts, packet.dts), next));  // the middle one
    packet.pts = packet.dts;
  }
  const bool allowsEqual = (container.flags & AVFMT_TS_NONSTRICT) != 0 ||
                           stream.codecpar->codec_type == AVMEDIA_TYPE_DATA;
  const std::int64_t least = last_ == AV_NOPTS_VALUE ? packet.dts : last_ + (allowsEqual ? 0 : 1);
  const bool isMoved = packet.dts < least;
  const bool isFar = isMoved && least - packet.dts > roundingError;
  if (isMoved) {
    if (packet.pts != AV_NOPTS_VALUE) packet.pts = std::max(packet.pts, least);
    packet.dts = least;
  }
  last_ = packet.dts;
  return isFar;
}

}  // namespace cmhost
