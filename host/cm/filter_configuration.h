#pragma once

#include <map>
#include <string>

#include "lib/cm/CMExport.h"
#include "lib/cm/RConfiguration.h"
#include "lib/cm/RPtr.h"

namespace cm {

/// Keys and FourCC values for a filter. Filled by one thread before it is passed to `configure`.
class CM_API FilterConfiguration final : public QOR::CM::RFilterConfiguration {
 public:
  static QOR::RPtr<FilterConfiguration> create();

  /// Stores `value` under `key`, replacing an earlier value.
  void setFourCC(const std::string& key, unsigned int value);

  unsigned int getFourCC(const char* key, unsigned int fallback) const override;

 private:
  FilterConfiguration();
  ~FilterConfiguration() override;

  std::map<std::string, unsigned int, std::less<>> values_;
};

}  // namespace cm
