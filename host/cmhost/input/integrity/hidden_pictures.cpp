#include "host/cmhost/input/integrity/hidden_pictures.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace cmhost {

void HiddenPictures::begin(const AVFormatContext& format) {
  hasEditList_ = std::strncmp(format.iformat->name, "mov,", 4) == 0;
}

void HiddenPictures::addPacket(const AVPacket& packet) {
  if (!hasEditList_ || packet.dts == AV_NOPTS_VALUE || packet.pts == AV_NOPTS_VALUE) return;
  if (lastTime_ != AV_NOPTS_VALUE)
    longestPicture_ = std::max(longestPicture_, packet.dts - lastTime_);
  lastTime_ = packet.dts;
  if ((packet.flags & AV_PKT_FLAG_DISCARD) != 0)
    longestReordering_ = std::max(longestReordering_, std::abs(packet.pts - packet.dts));
}

bool HiddenPictures::areLost() const {
  // No codec reorders more than 16 frames, and time stamps may count from the first or from the
  // last of them.
  constexpr std::int64_t mostReordered = 2 * 16;
  return longestPicture_ > 0 && longestReordering_ / mostReordered > longestPicture_;
}

}  // namespace cmhost
