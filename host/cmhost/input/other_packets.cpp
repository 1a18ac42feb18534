#include "host/cmhost/input/other_packets.h"

#include <utility>

#include "host/cmhost/support/failure.h"

namespace cmhost {

namespace {

// Other streams may start before the first frame. Beyond this limit the file is taken to have none.
constexpr std::size_t maxWaitingBytes = std::size_t{64} << 20;

// A cue that starts before the part and is still on screen there starts with the part.
void cutBefore(AVPacket& cue, std::int64_t start) {
  if (cue.pts >= start || cue.pts + cue.duration <= start) return;
  cue.duration -= start - cue.pts;
  cue.pts = cue.dts = start;
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

void OtherPackets::reach(std::int64_t end, AVRational timeBase) {
  reached_ = end;
  reachedTimeBase_ = timeBase;
  passCues();
}

void OtherPackets::endPart() {
  ended_ = true;
  passCues();
}

void OtherPackets::endFile() {
  for (const Waiting& each : std::exchange(cues_, {})) send(*each.packet, each.stream->time_base);
}

void OtherPackets::pass(AVPacket& packet, const AVStream& stream) {
  const AVRational timeBase = stream.time_base;
  const bool isCue =
      stream.codecpar->codec_type == AVMEDIA_TYPE_SUBTITLE && packet.pts != AV_NOPTS_VALUE;
  if (part_.startsLater()) {
    const std::int64_t first = part_.first(timeBase);
    if (isCue) cutBefore(packet, first);
    const std::int64_t time = packet.pts != AV_NOPTS_VALUE ? packet.pts : packet.dts;
    if (time != AV_NOPTS_VALUE && time < first) return;
  }
  if (isCue && part_.mayEndEarly()) {
    cues_.push_back({orThrow<PacketPtr>(av_packet_clone(&packet)), &stream});
    passCues();
  } else {
    send(packet, timeBase);
  }
}

void OtherPackets::passCues() {
  for (; !cues_.empty(); cues_.pop_front()) {
    AVPacket& cue = *cues_.front().packet;
    const AVRational timeBase = cues_.front().stream->time_base;
    const std::int64_t reached = av_rescale_q(reached_, reachedTimeBase_, timeBase);
    if (cue.pts >= reached || cue.pts + cue.duration > reached) {
      if (!ended_) return;
      if (cue.pts >= reached) continue;
      cue.duration = reached - cue.pts;
    }
    send(cue, timeBase);
  }
}

void OtherPackets::send(AVPacket& packet, AVRational timeBase) {
  const std::int64_t shift = part_.shift(timeBase);
  if (packet.pts != AV_NOPTS_VALUE) packet.pts -= shift;
  if (packet.dts != AV_NOPTS_VALUE) packet.dts -= shift;
  sink_(packet);
}

}  // namespace cmhost
