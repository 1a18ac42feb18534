#pragma once

#include <memory>
#include <string>

#include "lib/cm/CMComponent.h"

namespace cmhost {

/// A filter module: the loaded library and the one component made by its factory. Destruction ends
/// the component, then unloads the library.
class Module {
 public:
  /// Loads `path` and calls its factory. Throws `Failure` with the loader's own reason.
  explicit Module(const std::string& path);

  QOR::CM::RFilter& filter() { return *filter_; }

 private:
  struct Unload {
    void operator()(void* library) const;
  };

  std::unique_ptr<void, Unload> library_;
  std::unique_ptr<QOR::CM::RComponent> component_;
  QOR::CM::RFilter* filter_ = nullptr;
};

/// Where the module lies that was built or installed together with this program.
std::string defaultModulePath();

}  // namespace cmhost
