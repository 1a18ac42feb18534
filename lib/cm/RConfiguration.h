#pragma once

#include "lib/cm/CMExport.h"
#include "lib/cm/object_refcount.h"

namespace QOR::CM {

/// Keys and values with which a host configures a component.
class CM_API RComponentConfiguration : public lumbase::object_refcount {
 public:
  /// The FourCC stored under `key`, first character in the most significant byte, or `fallback` if
  /// the key is absent.
  virtual unsigned int getFourCC(const char* key, unsigned int fallback) const = 0;

 protected:
  RComponentConfiguration();
  ~RComponentConfiguration() override;
};

/// The configuration of a filter.
class CM_API RFilterConfiguration : public RComponentConfiguration {
 protected:
  RFilterConfiguration();
  ~RFilterConfiguration() override;
};

}  // namespace QOR::CM
