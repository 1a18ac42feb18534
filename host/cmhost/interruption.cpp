#include "host/cmhost/interruption.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <climits>
#include <csignal>
#include <utility>

namespace cmhost::interruption {

namespace {

struct Slot {
  std::atomic<bool> taken{false};
  std::atomic<bool> filled{false};
  char path[PATH_MAX];
};

// What a signal handler may touch: lock-free atomics and memory that is always there.
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<bool>::is_always_lock_free);
std::atomic<int> firstSignal{0};
std::atomic<int> event{-1};
Slot slots[8];

extern "C" void handleSignal(int number) {
  int none = 0;
  if (firstSignal.compare_exchange_strong(none, number)) {
    ::eventfd_write(event, 1);
    return;
  }
  removeTemporaryFiles();
  ::_exit(exitSignal + number);
}

}  // namespace

void install() {
  event = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (event < 0) throw Failure("no event descriptor can be had");
  for (const int number : {SIGINT, SIGTERM}) {
    struct sigaction action = {};
    ::sigaction(number, nullptr, &action);
    if (action.sa_handler == SIG_IGN) continue;
    action.sa_handler = &handleSignal;
    action.sa_flags = SA_RESTART;
    ::sigaction(number, &action, nullptr);
  }
}

int received() { return firstSignal; }

int descriptor() { return event; }

void removeTemporaryFiles() {
  for (const Slot& slot : slots)
    if (slot.filled) ::unlink(slot.path);
}

TemporaryFile::TemporaryFile(const std::string& path) {
  if (path.size() >= PATH_MAX) return;
  for (Slot& slot : slots) {
    if (slot.taken.exchange(true)) continue;
    path.copy(slot.path, path.size());
    slot.path[path.size()] = '\0';
    slot.filled = true;
    slot_ = static_cast<int>(&slot - slots);
    return;
  }
}

TemporaryFile& TemporaryFile::operator=(TemporaryFile&& other) noexcept {
  std::swap(slot_, other.slot_);
  return *this;
}

TemporaryFile::~TemporaryFile() {
  if (slot_ < 0) return;
  slots[slot_].filled = false;
  slots[slot_].taken = false;
}

}  // namespace cmhost::interruption
