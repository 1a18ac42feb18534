#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <utility>

namespace cm {

/// A queue between threads that holds at most `capacity` items. `put` blocks while the queue is
/// full, so a fast producer cannot run ahead of a slow consumer.
///
/// The producer ends the queue with `finish`: queued items can still be taken. Either side can end
/// it with `abandon`: queued items are dropped and waiting threads wake up. All functions may be
/// called from any thread.
template <typename T>
class BoundedQueue {
 public:
  explicit BoundedQueue(std::size_t capacity) : capacity_(capacity) {}

  /// Waits for room and queues `item`. Once the queue has ended, drops `item` and returns false.
  bool put(T item) {
    std::unique_lock<std::mutex> lock(mutex_);
    wait(room_, lock, forRoom_, [this] { return ended_ || items_.size() < capacity_; });
    if (ended_) return false;
    items_.push_back(std::move(item));
    ++handled_;
    filled_.notify_all();
    return true;
  }

  /// Takes the next item if there is one, without waiting.
  std::optional<T> tryTake() {
    std::lock_guard<std::mutex> lock(mutex_);
    return takeLocked();
  }

  /// Waits for the next item. Returns nothing once the queue has ended and is empty.
  std::optional<T> take() {
    std::unique_lock<std::mutex> lock(mutex_);
    wait(filled_, lock, forItems_, [this] { return ended_ || !items_.empty(); });
    return takeLocked();
  }

  /// Waits until an item is available (returns true) or the queue has ended and is empty (false).
  bool waitForItem() {
    std::unique_lock<std::mutex> lock(mutex_);
    wait(filled_, lock, forItems_, [this] { return ended_ || !items_.empty(); });
    return !items_.empty();
  }

  std::size_t size() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return items_.size();
  }

  /// The total time that threads have waited for room and for items.
  std::chrono::duration<double> waitedForRoom() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return forRoom_.total;
  }
  std::chrono::duration<double> waitedForItems() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return forItems_.total;
  }

  /// Whether a thread is waiting for room or for items now.
  bool isWaitedForRoom() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return forRoom_.waiting > 0;
  }
  bool isWaitedForItems() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return forItems_.waiting > 0;
  }

  /// The number of items put, items taken, and attempts to take one before the end of the queue.
  /// Grows as long as the producer or the consumer is active.
  std::uint64_t handled() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return handled_;
  }

  /// Ends the queue; queued items can still be taken.
  void finish() {
    std::lock_guard<std::mutex> lock(mutex_);
    ended_ = true;
    room_.notify_all();
    filled_.notify_all();
  }

  /// Ends the queue and drops the queued items. Does not allocate, so that destructors may call it.
  void abandon() {
    finish();
    while (tryTake()) {  // one by one: destructors of items must not run under the lock
    }
  }

 private:
  using Clock = std::chrono::steady_clock;

  struct Waits {
    Clock::duration total{0};
    int waiting = 0;
  };

  template <typename Predicate>
  static void wait(std::condition_variable& condition, std::unique_lock<std::mutex>& lock,
                   Waits& waits, Predicate until) {
    if (until()) return;
    const Clock::time_point start = Clock::now();
    ++waits.waiting;
    condition.wait(lock, until);
    --waits.waiting;
    waits.total += Clock::now() - start;
  }

  std::optional<T> takeLocked() {
    if (!items_.empty() || !ended_) ++handled_;
    if (items_.empty()) return std::nullopt;
    std::optional<T> item(std::move(items_.front()));
    items_.pop_front();
    room_.notify_all();
    return item;
  }

  const std::size_t capacity_;
  mutable std::mutex mutex_;
  std::condition_variable room_;
  std::condition_variable filled_;
  std::deque<T> items_;
  bool ended_ = false;
  std::uint64_t handled_ = 0;
  Waits forRoom_;
  Waits forItems_;
};

}  // namespace cm
