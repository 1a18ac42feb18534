#include "host/cmhost/network/late_frames.h"

namespace cmhost {

namespace {

constexpr LateFrames::Seconds tolerance(1);
constexpr LateFrames::Seconds jump(10);  // of the time stamps: they start anew

}  // namespace

void LateFrames::add(Seconds timeStamp, Seconds finished) {
  const Seconds step = timeStamp - lastStamp_;
  if (!hasStart_ || step > jump || step < -jump) start_ = finished - timeStamp;
  hasStart_ = true;
  lastStamp_ = timeStamp;
  if (finished - timeStamp - start_ > tolerance) ++count_;
}

}  // namespace cmhost
