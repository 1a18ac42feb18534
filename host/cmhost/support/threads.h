#pragma once

#include <cstdint>
#include <system_error>
#include <thread>
#include <utility>

#include "host/cmhost/support/failure.h"
#include "host/cmhost/support/signal_stack.h"

namespace cmhost {

/// The advice in messages about a thread that cannot be started.
constexpr const char* threadLimits =
    "check the limits on processes (ulimit -u), container tasks and memory";

/// The number of threads for a codec that may keep a frame of `bytes` per thread; 0: let the codec
/// choose.
int threadsFor(std::int64_t bytes);

/// The same where the user wants at most `wanted` threads; 0: any number.
int threadsFor(std::int64_t bytes, int wanted);

/// Starts a thread with an alternate stack for signals. Throws `Failure` with the limits to check.
template <typename Body>
std::thread startThread(Body body) {
  try {
    return std::thread([body = std::move(body)]() mutable {
      const SignalStack signalStack;
      body();
    });
  } catch (const std::system_error& error) {
    throw Failure("cannot start a thread: " + error.code().message() + "; " + threadLimits);
  }
}

}  // namespace cmhost
