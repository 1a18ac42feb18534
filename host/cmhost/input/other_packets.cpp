#include "host/cmhost/input/other_packets.h"

#include <utility>

#include "host/cmhost/support/failure.h"

namespace cmhost {

namespace {

// Other streams may start before the first frame. Beyond this limit the file is taken to have none.
constexpr std::size_t maxWaitingBytes = std::size_t{64} << 20;

// A subtitle that starts before the part and is still on screen there starts with the part.
void cutBefore(AVPacket& packet, std::int64_t start) {
  if (packet.pts == AV_NOPTS_VALUE || packet.pts >= start || packet.pts + packet.duration <= start)
    return;
  packet.duration -= start - packet.pts;
  packet.pts = packet.dts = start;
}

void cutBehind(AVPacket& packet, std::int64_t end) {
  if (packet.pts != AV_NOPTS_VALUE && packet.pts < end && packet.pts + packet.duration > end)
    packet.duration = end - packet.pts;
}

}  // namespace

void OtherPackets::add(AVPacket& packet, const AVStream& stream) {
  if (sink_) {
    pass(packet, stream);
    return;
  }
  waitingBytes_ += static_cast<std::size_t>(packet.size);
  if (waitingBytes_ > maxWaitingBytes)
    throw Failure(input_ + ": no video frame in the first " +
                  std::to_string(maxWaitingBytes >> 20) +
                  " MiB of packets of other streams; is this a video file?");
  waiting_.push_back({orThrow<PacketPtr>(av_packet_clone(&packet)), &stream});
}

void OtherPackets::sendTo(Sink sink) {
  sink_ = std::move(sink);
  for (const Waiting& each : std::exchange(waiting_, {})) pass(*each.packet, *each.stream);
}

void OtherPackets::pass(AVPacket& packet, const AVStream& stream) {
  const AVRational timeBase = stream.time_base;
  const bool isCue = stream.codecpar->codec_type == AVMEDIA_TYPE_SUBTITLE;
  if (isCue && part_.startsLater())
    cutBefore(packet, av_rescale_q_rnd(part_.start(), av_get_time_base_q(), timeBase, AV_ROUND_UP));
  const std::int64_t time = packet.pts != AV_NOPTS_VALUE ? packet.pts : packet.dts;
  if (part_.isBeforeStart(time, timeBase)) return;
  const std::int64_t shift = part_.shift(timeBase);
  if (packet.pts != AV_NOPTS_VALUE) packet.pts -= shift;
  if (packet.dts != AV_NOPTS_VALUE) packet.dts -= shift;
  if (const auto end = part_.end(); isCue && end)
    cutBehind(packet, av_rescale_q(*end, av_get_time_base_q(), timeBase));
  sink_(packet);
}

}  // namespace cmhost
