#include "host/cmhost/input/damage_log.h"

#include <utility>

namespace cmhost {

void DamageLog::add(Place place) {
  const std::lock_guard<std::mutex> lock(mutex_);
  ++count_;
  if (places_.size() < mostPlaces) places_.push_back(std::move(place));
}

std::vector<DamageLog::Place> DamageLog::places() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return places_;
}

}  // namespace cmhost
