#include "host/cmhost/module/sudden_end.h"

#include <unistd.h>

#include <atomic>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>

#include "host/cmhost/module/exception_text.h"
#include "host/cmhost/support/failure.h"
#include "host/cmhost/support/interruption.h"
#include "host/cmhost/support/messages.h"

namespace cmhost::sudden_end {

namespace {

constexpr int crashes[] = {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGSYS, SIGTRAP};

// A signal handler may access only lock-free atomics and static memory.
static_assert(std::atomic<pid_t>::is_always_lock_free && std::atomic<bool>::is_always_lock_free);
char modulePath[PATH_MAX];
std::atomic<bool> moduleIsPresent{false};
std::atomic<bool> moduleStays{false};
std::atomic<pid_t> leavingThread{0};
bool onTerminal = false;
struct sigaction previousActions[NSIG];
thread_local const char* callDuring = nullptr;

// Formats a message without allocating memory. Text that does not fit is truncated.
class Line {
 public:
  Line() { *this << (onTerminal ? "\r\x1b[K" : "") << "cmhost: error: "; }

  Line& operator<<(const char* part) {
    while (*part != '\0' && size_ < sizeof text_ - 1) text_[size_++] = *part++;
    return *this;
  }

  void print() {
    text_[size_++] = '\n';
    static_cast<void>(!::write(STDERR_FILENO, text_, size_));
  }

 private:
  char text_[PATH_MAX + 1024];
  std::size_t size_ = 0;
};

// Returns false if this thread is already ending the process and failed again. If another thread is
// ending the process, waits for that.
bool isFirstEnd() {
  pid_t none = 0;
  const pid_t self = ::gettid();
  if (leavingThread.compare_exchange_strong(none, self)) return true;
  if (none == self) return false;
  for (;;) ::pause();
}

void tell(const char* during, const char* what, const char* detail) {
  Line line;
  if (during != nullptr) {
    line << modulePath << ": the module " << what << " " << during;
  } else if (moduleIsPresent) {
    line << modulePath << ": the program " << what << " while this module was loaded";
  } else {
    line << "the program " << what;
  }
  line << ": " << detail;
  line.print();
}

void onExit(int status, void* /*unused*/) {
  if (!moduleIsPresent) return;
  char call[32];
  std::snprintf(call, sizeof call, "exit(%d)", status);
  leave(callDuring, "ended the process", call);
}

void onQuickExit() {
  if (moduleIsPresent) leave(callDuring, "ended the process", "quick_exit");
}

[[noreturn]] void onTerminate() {
  // The exception's what() may throw.
  static std::atomic<bool> again{false};
  std::string text = "std::terminate";
  if (!again.exchange(true) && std::current_exception() != nullptr)
    text = "uncaught exception: " + escaped(currentExceptionText());
  leave(callDuring, "ended the process", text.c_str());
}

extern "C" void onCrash(int number, siginfo_t* info, void* /*context*/) {
  ::sigaction(number, &previousActions[number], nullptr);
  if (isFirstEnd()) {
    interruption::removeTemporaryFiles();
    const char* const name = ::sigdescr_np(number);
    tell(callDuring, "crashed", name != nullptr ? name : "signal");
  }
  // A fault recurs when this handler returns. A trap or a signal sent by a process does not.
  if (info->si_code <= 0 || number == SIGTRAP || number == SIGSYS) ::raise(number);
}

}  // namespace

void install() {
  onTerminal = ::isatty(STDERR_FILENO) != 0;
  ::on_exit(&onExit, nullptr);
  std::at_quick_exit(&onQuickExit);
  std::set_terminate(&onTerminate);
  for (const int number : crashes) {
    struct sigaction action = {};
    action.sa_sigaction = &onCrash;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    ::sigaction(number, &action, &previousActions[number]);
  }
}

ModulePresence::ModulePresence(const std::string& path) {
  modulePath[escaped(path).copy(modulePath, sizeof modulePath - 1)] = '\0';
  moduleIsPresent = true;
}

ModulePresence::~ModulePresence() { moduleIsPresent = false; }

void avoidExit() { moduleStays = true; }

int finish(int code) {
#if defined(__SANITIZE_ADDRESS__)
  return code;  // the leak check runs in exit
#else
  if (!moduleStays) return code;
  std::fflush(nullptr);
  ::_exit(code);
#endif
}

ModuleCall::ModuleCall(const char* during) { callDuring = during; }

ModuleCall::~ModuleCall() { callDuring = nullptr; }

void leave(const char* during, const char* what, const char* detail) {
  if (isFirstEnd()) {
    tell(during, what, detail);
    interruption::removeTemporaryFiles();
  }
  ::_exit(exitFailed);
}

}  // namespace cmhost::sudden_end
