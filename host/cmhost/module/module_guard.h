#pragma once

#include <functional>
#include <string>

#include "host/cmhost/module/sudden_end.h"
#include "host/cmhost/module/watchdog.h"

namespace cmhost {

/// Stands around every call into a module, from before it is loaded until it is unloaded, so that
/// whatever it does ends in one line that names it.
class ModuleGuard {
 public:
  /// What a call is for, as it completes messages: "its factory failed", "in its factory".
  struct Stage {
    const char* failed;
    const char* during;
  };

  /// `timeout` is how many seconds a call may hang; 0 is for ever. Throws `Failure`.
  ModuleGuard(const std::string& path, int timeout);

  const std::string& path() const { return path_; }

  /// Runs `body`, which calls the module. Throws `Failure` for whatever `body` throws. The
  /// exception itself is gone by then: its code may lie in the module, which it must not outlive.
  void call(const Stage& stage, const std::function<void()>& body,
            Watchdog::Activity activity = nullptr);

  /// Throws `Failure` about the module: its path and what it did.
  [[noreturn]] void fail(const std::string& what) const;

 private:
  const std::string path_;
  Watchdog watchdog_;
  sudden_end::ModulePresence presence_;
};

}  // namespace cmhost
