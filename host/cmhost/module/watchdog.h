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

/// Ends the process when a call into a module hangs. Only time in which this process runs counts,
/// so that one which was stopped for an hour has not hung.
class Watchdog {
 public:
  /// How much a call has done so far, as a number that grows; nothing while it waits for others.
  /// Called from the watchdog's thread.
  using Activity = std::function<std::optional<std::uint64_t>()>;

  /// A call may go `seconds` without activity; 0 is for ever. Starts a thread. Throws `Failure`.
  explicit Watchdog(int seconds);
  ~Watchdog();
  Watchdog(const Watchdog&) = delete;
  Watchdog& operator=(const Watchdog&) = delete;

  /// A call begins; one at a time. `during` says which, see `sudden_end::ModuleCall`. Without
  /// `activity`, the call is active when it returns.
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
