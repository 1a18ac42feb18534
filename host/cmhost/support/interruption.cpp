#include "host/cmhost/support/interruption.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdint>
#include <ctime>
#include <iterator>
#include <utility>

namespace cmhost::interruption {

namespace {

constexpr int requests[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};
constexpr std::int64_t sameRequestNanoseconds = 1'000'000'000;

// Signals that do not end a process by default, and SIGKILL and SIGSTOP, which cannot be handled.
constexpr int harmless[] = {SIGCHLD, SIGCONT, SIGURG,  SIGWINCH, SIGTSTP,
                            SIGTTIN, SIGTTOU, SIGKILL, SIGSTOP};

// A slot is used only once, so that a handler never reads a name while it changes.
struct Slot {
  std::atomic<bool> taken{false};
  std::atomic<bool> filled{false};
  int folder = AT_FDCWD;
  char name[PATH_MAX];
};

// A signal handler may access only lock-free atomics and static memory.
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<bool>::is_always_lock_free &&
              std::atomic<std::int64_t>::is_always_lock_free);
std::atomic<std::int64_t> firstTime{0};
std::atomic<int> firstSignal{0};
std::atomic<int> event{-1};
Slot slots[16];

std::int64_t nanoseconds() {
  timespec now = {};
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

extern "C" void handleRequest(int number) {
  const int error = errno;
  const std::int64_t now = nanoseconds();
  std::int64_t first = 0;
  if (firstTime.compare_exchange_strong(first, now)) {
    firstSignal = number;
    ::eventfd_write(event, 1);
  } else if (now - first >= sameRequestNanoseconds) {
    removeTemporaryFiles();
    ::_exit(exitSignal + number);
  }
  errno = error;
}

// The raised signal is delivered when this returns and then ends the process by default.
extern "C" void handleEnd(int number) {
  removeTemporaryFiles();
  std::signal(number, SIG_DFL);
  std::raise(number);
}

void handle(int number, void (*handler)(int)) {
  struct sigaction action = {};
  if (::sigaction(number, nullptr, &action) != 0 || action.sa_handler != SIG_DFL) return;
  action.sa_handler = handler;
  action.sa_flags = SA_RESTART;
  ::sigaction(number, &action, nullptr);
}

template <std::size_t Count>
bool contains(const int (&numbers)[Count], int number) {
  return std::find(std::begin(numbers), std::end(numbers), number) != std::end(numbers);
}

}  // namespace

void install() {
  event = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (event < 0) throw Failure("cannot create an event descriptor");
  for (int number = 1; number <= SIGRTMAX; ++number)
    if (!contains(harmless, number))
      handle(number, contains(requests, number) ? &handleRequest : &handleEnd);
}

int received() { return firstSignal; }

int descriptor() { return event; }

void removeTemporaryFiles() noexcept {
  for (const Slot& slot : slots)
    if (slot.filled) ::unlinkat(slot.folder, slot.name, 0);
}

TemporaryFile::TemporaryFile(const std::string& name, int folder) {
  if (name.size() >= PATH_MAX) return;
  for (Slot& slot : slots) {
    if (slot.taken.exchange(true)) continue;
    slot.folder = folder;
    name.copy(slot.name, name.size());
    slot.name[name.size()] = '\0';
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
  if (slot_ >= 0) slots[slot_].filled = false;
}

}  // namespace cmhost::interruption
