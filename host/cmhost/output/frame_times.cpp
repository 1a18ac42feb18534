#include "host/cmhost/output/frame_times.h"

#include <algorithm>

namespace cmhost {

void FrameTimes::add(std::int64_t encoderPts, const Time& time) {
  if (isEmpty_) {
    firstEncoderPts_ = encoderPts;
    firstPts_ = time.pts;
    isEmpty_ = false;
  }
  frames_[encoderPts].time = time;
}

void FrameTimes::apply(AVPacket& packet, AVRational tick, AVRational timeBase) {
  packet.duration = av_rescale_q(packet.duration, tick, timeBase);
  if (const auto frame = frames_.find(packet.pts); frame != frames_.end()) {
    frame->second.hasPacket = packet.size > 0;  // an empty one repeats the frame before
    if (frame->second.time.duration > 0) packet.duration = frame->second.time.duration;
  }
  const std::int64_t encoderDts = packet.dts;
  packet.pts = timeAt(packet.pts, tick, timeBase);
  packet.dts = timeAt(packet.dts, tick, timeBase);
  // Neither time stamp of a later packet is earlier than this.
  if (encoderDts != AV_NOPTS_VALUE) forgetBefore(frames_.lower_bound(encoderDts));
}

// Encoders that reorder frames let decoding start before the first frame is shown: those times are
// extrapolated.
std::int64_t FrameTimes::timeAt(std::int64_t encoderTime, AVRational tick,
                                AVRational timeBase) const {
  if (encoderTime == AV_NOPTS_VALUE) return encoderTime;
  if (const auto frame = frames_.find(encoderTime); frame != frames_.end())
    return frame->second.time.pts;
  const std::int64_t ticks = encoderTime - firstEncoderPts_;
  const std::int64_t distance = av_rescale_q(ticks, tick, timeBase);
  return firstPts_ + (ticks < 0 ? std::min(distance, ticks) : distance);
}

std::int64_t FrameTimes::finish() {
  forgetBefore(frames_.end());
  return withoutPacket_;
}

void FrameTimes::forgetBefore(std::map<std::int64_t, Frame>::const_iterator end) {
  withoutPacket_ +=
      std::count_if(frames_.cbegin(), end, [](const auto& each) { return !each.second.hasPacket; });
  frames_.erase(frames_.cbegin(), end);
}

}  // namespace cmhost
