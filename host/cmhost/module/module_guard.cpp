#include "host/cmhost/module/module_guard.h"

#include <utility>

#include "host/cmhost/module/exception_text.h"
#include "host/cmhost/support/failure.h"

namespace cmhost {

namespace {

class WatchedCall {
 public:
  WatchedCall(Watchdog& watchdog, const char* during, Watchdog::Activity activity)
      : watchdog_(watchdog), call_(during) {
    watchdog_.begin(during, std::move(activity));
  }
  ~WatchedCall() { watchdog_.end(); }
  WatchedCall(const WatchedCall&) = delete;
  WatchedCall& operator=(const WatchedCall&) = delete;

 private:
  Watchdog& watchdog_;
  sudden_end::ModuleCall call_;
};

}  // namespace

ModuleGuard::ModuleGuard(const std::string& path, int timeout)
    : path_(path), watchdog_(timeout), presence_(path) {}

void ModuleGuard::call(const Stage& stage, const std::function<void()>& body,
                       Watchdog::Activity activity) {
  std::string reason;
  {
    const WatchedCall watched(watchdog_, stage.during, std::move(activity));
    try {
      body();
      return;
    } catch (...) {
      reason = currentExceptionText();
    }
  }
  fail(stage.failed + (": " + reason));
}

void ModuleGuard::fail(const std::string& what) const { throw Failure(path_ + ": " + what); }

}  // namespace cmhost
