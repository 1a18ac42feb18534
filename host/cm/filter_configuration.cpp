#include "host/cm/filter_configuration.h"

namespace cm {

FilterConfiguration::FilterConfiguration() = default;
FilterConfiguration::~FilterConfiguration() = default;

QOR::RPtr<FilterConfiguration> FilterConfiguration::create() { return {new FilterConfiguration}; }

void FilterConfiguration::setFourCC(const std::string& key, unsigned int value) {
  values_[key] = value;
}

unsigned int FilterConfiguration::getFourCC(const char* key, unsigned int fallback) const {
  const auto found = values_.find(key);
  return found != values_.end() ? found->second : fallback;
}

}  // namespace cm
