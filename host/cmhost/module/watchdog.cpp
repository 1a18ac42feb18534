#include "host/cmhost/module/watchdog.h"

#include <algorithm>
#include <utility>

#include "host/cmhost/module/sudden_end.h"
#include "host/cmhost/support/threads.h"

namespace cmhost {

Watchdog::Watchdog(int seconds)
    : limit_(std::chrono::seconds(seconds)),
      limitText_("no activity for " + std::to_string(seconds) +
                 " s; change the limit with --module-timeout") {
  if (seconds > 0) thread_ = startThread([this] { watch(); });
}

Watchdog::~Watchdog() {
  if (!thread_.joinable()) return;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    stopped_ = true;
    stop_.notify_one();
  }
  thread_.join();
}

void Watchdog::begin(const char* during, Activity activity) {
  const std::lock_guard<std::mutex> lock(mutex_);
  during_ = during;
  activity_ = std::move(activity);
  done_.reset();
  idle_ = Clock::duration::zero();
}

void Watchdog::end() {
  const std::lock_guard<std::mutex> lock(mutex_);
  during_ = nullptr;
  activity_ = nullptr;
}

bool Watchdog::isActive() {
  if (during_ == nullptr) return true;
  if (activity_ == nullptr) return false;
  const std::optional<std::uint64_t> done = activity_();
  const bool active = !done || done != done_;
  done_ = done;
  return active;
}

void Watchdog::watch() {
  const Clock::duration tick = std::min<Clock::duration>(limit_ / 20, std::chrono::seconds(1));
  Clock::time_point last = Clock::now();
  std::unique_lock<std::mutex> lock(mutex_);
  while (!stop_.wait_for(lock, tick, [this] { return stopped_; })) {
    const Clock::time_point now = Clock::now();
    const Clock::duration passed =
        std::min(now - last, 2 * tick);  // longer if the process was stopped
    last = now;
    idle_ = isActive() ? Clock::duration::zero() : idle_ + passed;
    if (idle_ >= limit_) sudden_end::leave(during_, "hung", limitText_.c_str());
  }
}

}  // namespace cmhost
