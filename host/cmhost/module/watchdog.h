#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace cmhost {

/// Ends the process when a call into a module hangs. Only time in which the process runs counts, so
/// that a stopped process is not taken for a hung one.
class Watchdog {
 public:
  /// Returns a counter that grows with the activity of the call, or nothing while the call waits
  /// for other threads. Called on the watchdog's thread.
  using Activity = std::function<std::optional<std::uint64_t>()>;

  /// A call may be inactive for `seconds`; 0 means no limit. Starts a thread. Throws `Failure`.
  explicit Watchdog(int seconds);
  ~Watchdog();
  Watchdog(const Watchdog&) = delete;
  Watchdog& operator=(const Watchdog&) = delete;

  /// Starts and ends the supervision of a call; one at a time. `during` describes the call, see
  /// `sudden_end::ModuleCall`. Without `activity`, only the return of the call counts as activity.
  void begin(const char* during, Activity activity);
  void end();

 private:
  using Clock = std::chrono::steady_clock;

  void watch();
  bool isActive();

  const Clock::duration limit_;
  const std::string limitText_;
  std::mutex mutex_;
  std::condition_variable stop_;
  bool stopped_ = false;
  const char* during_ = nullptr;  ///< null while there is no call
  Activity activity_;
  std::optional<std::uint64_t> done_;
  Clock::duration idle_{0};
  std::thread thread_;
};

}  // namespace cmhost
