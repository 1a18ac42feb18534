#include "host/cmhost/support/signal_stack.h"

#include <csignal>
#include <new>

namespace cmhost {

namespace {

constexpr std::size_t size = 65536;

}  // namespace

SignalStack::SignalStack() {
  stack_t stack = {};
  if (::sigaltstack(nullptr, &stack) != 0 || (stack.ss_flags & SS_DISABLE) == 0) return;
  bytes_.reset(new (std::nothrow) char[size]);
  if (bytes_ == nullptr) return;
  stack.ss_sp = bytes_.get();
  stack.ss_size = size;
  stack.ss_flags = 0;
  ::sigaltstack(&stack, nullptr);
}

SignalStack::~SignalStack() {
  if (bytes_ == nullptr) return;
  stack_t none = {};
  none.ss_flags = SS_DISABLE;
  ::sigaltstack(&none, nullptr);
}

}  // namespace cmhost
