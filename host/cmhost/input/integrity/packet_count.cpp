#include "host/cmhost/input/integrity/packet_count.h"

#include <algorithm>
#include <cstring>

namespace cmhost {

// AVI: the index and the header must agree. Some writers count palette changes in the index, others
// count repeated frames without a packet in the header.
// MXF: the duration is a number of frames if the time base is one frame.
void PacketCount::begin(const AVFormatContext& format, const AVStream& video) {
  if (std::strcmp(format.iformat->name, "avi") == 0) {
    const int entries = avformat_index_get_entries_count(&video);
    kind_ = Kind::avi;
    declared_ = std::min<std::int64_t>(entries, video.nb_frames);
    for (int i = 0; i < entries; ++i)
      declaredBytes_ += avformat_index_get_entry(const_cast<AVStream*>(&video), i)->size;
  } else if (std::strcmp(format.iformat->name, "mxf") == 0 && video.r_frame_rate.num > 0 &&
             av_cmp_q(video.time_base, av_inv_q(video.r_frame_rate)) == 0) {
    kind_ = Kind::mxf;
    declared_ = video.duration;  // AV_NOPTS_VALUE is negative
  }
}

void PacketCount::addPacket(const AVPacket& packet) {
  if (packet.size == 0) return;
  ++packets_;
  bytes_ += packet.size;
  timesEnd_ = timesEnd_ < 0 || packet.pts == AV_NOPTS_VALUE
                  ? -1
                  : std::max<std::int64_t>(timesEnd_, packet.pts + 1);
}

std::int64_t PacketCount::expected() const {
  std::int64_t expected = 0;
  // Parsers may join two fields into one packet; then no bytes are missing.
  if (kind_ == Kind::avi && bytes_ < declaredBytes_) expected = declared_;
  // Some writers declare a duration beyond the last frame.
  if (kind_ == Kind::mxf) expected = std::min(declared_, timesEnd_);
  return found() < expected ? expected : 0;
}

std::int64_t PacketCount::found() const { return std::max(packets_, pictures_); }

}  // namespace cmhost
