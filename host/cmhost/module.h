#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "lib/cm/CMComponent.h"

namespace cmhost {

using ConfigurationKeys = std::vector<std::pair<std::string, unsigned int>>;

/// The key under which a module finds the layout of its frames.
constexpr const char* layoutKey = "system_informat";

/// A filter module: the loaded library and the one component made by its factory. Destruction ends
/// the component, then unloads the library.
class Module {
 public:
  /// The exported function that makes the component.
  static constexpr const char* factoryName = "getComponentInstance";

  /// Loads `path` and calls its factory. Throws `Failure` with the loader's own reason.
  explicit Module(const std::string& path);

  QOR::CM::RFilter& filter() { return *filter_; }
  const QOR::CM::RFilter& filter() const { return *filter_; }

  /// Where it was loaded from.
  const std::string& path() const { return path_; }

  /// Configures the component, whose queues it must have by then, with FourCCs by key. Throws
  /// `Failure` with the component's own message when it declines.
  void configure(const ConfigurationKeys& keys);

 private:
  struct Unload {
    void operator()(void* library) const;
  };

  std::string path_;
  std::unique_ptr<void, Unload> library_;
  std::unique_ptr<QOR::CM::RComponent> component_;
  QOR::CM::RFilter* filter_ = nullptr;
};

/// Where the module lies that was built or installed together with this program, which the system's
/// link `self` leads to: an absolute path. Throws `Failure` when the link cannot be read, as where
/// /proc is not mounted.
std::string defaultModulePath(const std::string& self = "/proc/self/exe");

}  // namespace cmhost
