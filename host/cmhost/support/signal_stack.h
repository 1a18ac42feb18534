#pragma once

#include <memory>

namespace cmhost {

/// An alternate stack for the signal handlers of this thread, so that a stack overflow can be
/// reported. Has no effect if the thread already has one or if there is no memory.
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
