#pragma once

#include <memory>

namespace cmhost {

/// A stack for the signal handlers of this thread while this lives, so that a crash by an overflow
/// of its own stack can be told. A thread that has one keeps it; without memory, it gets none.
class SignalStack {
 public:
  SignalStack();
  ~SignalStack();
  SignalStack(const SignalStack&) = delete;
  SignalStack& operator=(const SignalStack&) = delete;

 private:
  std::unique_ptr<char[]> bytes_;
};

}  // namespace cmhost
