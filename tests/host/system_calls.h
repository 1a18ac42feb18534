#pragma once

#include <sys/types.h>

#include <array>
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

/// What the program's system calls come to, decided by a test. A filter (seccomp) is installed in
/// the program's process before it starts; see `program::Streams::prepare`.
namespace system_calls {

struct Failing {
  int call = 0;           ///< a number, as SYS_fsync
  int error = 0;          ///< what it fails with
  int argument = -1;      ///< if not negative: only when this argument...
  unsigned int bits = 0;  ///< ...has all of these bits
};

/// Makes system calls fail.
std::function<void()> fail(const std::vector<Failing>& calls);

/// A call that a process is about to make.
struct Call {
  int number = 0;
  pid_t process = 0;
  std::array<std::uint64_t, 6> arguments = {};
};

/// Holds a process at every call of some kinds until a test lets it go on.
class Gate {
 public:
  explicit Gate(int call) : Gate(std::vector<int>{call}) {}
  explicit Gate(std::vector<int> calls) : calls_(std::move(calls)) {}
  ~Gate();
  Gate(const Gate&) = delete;
  Gate& operator=(const Gate&) = delete;

  /// For the process to be held.
  std::function<void()> prepare();

  /// Waits until the process is at such a call and holds it there. A call that a signal interrupted
  /// and that begins again counts again. False when the process has ended.
  bool wait();

  /// The call that `wait` has seen.
  const Call& held() const { return held_; }

  /// Lets the process go on from where `wait` has seen it; with `error`, the call fails.
  void open(int error = 0);

 private:
  std::vector<int> calls_;
  int ends_[2] = {-1, -1};
  int listener_ = -1;
  std::uint64_t id_ = 0;  ///< of the call that is held
  Call held_;
};

}  // namespace system_calls
