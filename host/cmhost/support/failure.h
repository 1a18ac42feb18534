#pragma once

#include <stdexcept>
#include <string>

namespace cmhost {

/// What the program's exit code says.
enum ExitCode : int {
  exitDone = 0,
  exitFailed = 1,
  exitUsage = 2,
  exitSignal = 128,  ///< plus the number of the signal that interrupted the run
};

/// Ends the run. The message is one line that says what went wrong, where, and what to do.
class Failure : public std::runtime_error {
 public:
  explicit Failure(const std::string& message, ExitCode exitCode = exitFailed)
      : std::runtime_error(message), exitCode_(exitCode) {}

  ExitCode exitCode() const { return exitCode_; }

 private:
  ExitCode exitCode_;
};

}  // namespace cmhost
