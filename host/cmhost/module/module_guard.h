#pragma once

#include <functional>
#include <string>

#include "host/cmhost/module/sudden_end.h"
#include "host/cmhost/module/watchdog.h"

namespace cmhost {

/// Guards every call into a module, from loading to unloading, so that any failure is reported in
/// one line with its path.
class ModuleGuard {
 public:
  /// Describes a call in messages, for example "the factory failed" and "in its factory".
  struct Stage {
    const char* failed;
    const char* during;
  };

  /// A call without activity for `timeout` seconds counts as hung; 0 means no limit. Throws
  /// `Failure`.
  ModuleGuard(const std::string& path, int timeout);

  const std::string& path() const { return path_; }

  /// Runs `body`, which calls the module. Converts any exception to `Failure`, because the
  /// exception may contain code of the module and must not outlive it.
  void call(const Stage& stage, const std::function<void()>& body,
            Watchdog::Activity activity = nullptr);

  /// Throws `Failure` with the path of the module and `what`.
  [[noreturn]] void fail(const std::string& what) const;

 private:
  const std::string path_;
  Watchdog watchdog_;
  sudden_end::ModulePresence presence_;
};

}  // namespace cmhost
