#include "host/cmhost/input/part.h"

#include <algorithm>
#include <cmath>

namespace cmhost {

Part::Part(const Options& options) : startSeconds_(options.start), mostFrames_(options.frames) {}

void Part::open(const AVFormatContext& format, const AVStream& video, AVRational frameRate) {
  format_ = &format;
  video_ = &video;
  frameRate_ = frameRate;
  start_ = static_cast<std::int64_t>(std::llround(startSeconds_ * AV_TIME_BASE));
  if (format.start_time != AV_NOPTS_VALUE) start_ += format.start_time;
}

bool Part::isBeforeStart(std::int64_t time, AVRational timeBase) const {
  return startsLater() && time != AV_NOPTS_VALUE &&
         av_compare_ts(time, timeBase, start_, av_get_time_base_q()) < 0;
}

void Part::beginAt(std::int64_t pts) {
  first_ = pts;
  if (!startsLater()) return;
  shift_ = pts;
  if (video_->start_time != AV_NOPTS_VALUE) shift_ -= video_->start_time;
}

std::int64_t Part::shift(AVRational timeBase) const {
  return av_rescale_q(shift_, video_->time_base, timeBase);
}

std::int64_t Part::first(AVRational timeBase) const {
  return av_rescale_q(first_, video_->time_base, timeBase);
}

std::int64_t Part::expectedFrames() const {
  const bool hasRate = frameRate_.num > 0;
  std::int64_t frames = video_->nb_frames;
  if (frames <= 0 && hasRate && format_->duration > 0)
    frames = av_rescale_q(format_->duration, av_get_time_base_q(), av_inv_q(frameRate_));
  if (startsLater() && hasRate) {
    const std::int64_t begin = format_->start_time != AV_NOPTS_VALUE ? format_->start_time : 0;
    const std::int64_t left =
        av_rescale_q(start_ - begin, av_get_time_base_q(), av_inv_q(frameRate_));
    frames -= std::min(frames, left);
  }
  if (mostFrames_ > 0) frames = frames > 0 ? std::min(frames, mostFrames_) : mostFrames_;
  return std::max<std::int64_t>(frames, 0);
}

}  // namespace cmhost
