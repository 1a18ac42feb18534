#include "host/cmhost/output/constant_rate.h"

#include <algorithm>
#include <utility>

namespace cmhost {

ConstantRate::ConstantRate(AVRational timeBase, AVRational usualRate, AVRational rate, Put put)
    : timeBase_(timeBase), usualRate_(usualRate), tick_(av_inv_q(rate)), put_(std::move(put)) {}

std::int64_t ConstantRate::tickOf(std::int64_t time) const {
  return av_rescale_q(time, timeBase_, tick_);
}

void ConstantRate::add(FramePtr frame) {
  const std::int64_t tick = tickOf(frame->pts);
  if (held_ != nullptr)
    putUntil(tick);
  else
    next_ = tick;
  held_ = std::move(frame);
}

void ConstantRate::finish() {
  if (held_ == nullptr) return;
  std::int64_t duration = durationOf(*held_);
  if (duration <= 0 && usualRate_.num > 0)
    duration = av_rescale_q(1, av_inv_q(usualRate_), timeBase_);
  const std::int64_t end = duration > 0 ? tickOf(held_->pts + duration) : tickOf(held_->pts) + 1;
  putUntil(hasPut_ ? end : std::max(end, next_ + 1));  // at least one frame in total
  held_.reset();
}

void ConstantRate::putUntil(std::int64_t tick) {
  dropped_ += tick <= next_ ? 1 : 0;
  repeated_ += std::max<std::int64_t>(tick - next_ - 1, 0);
  for (; next_ < tick; ++next_) {
    FramePtr frame = orThrow<FramePtr>(av_frame_clone(held_.get()));
    frame->pts = next_;
    setDuration(*frame, 1);
    put_(std::move(frame));
    hasPut_ = true;
  }
}

}  // namespace cmhost
