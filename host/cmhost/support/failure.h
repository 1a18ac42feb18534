#pragma once

#include <stdexcept>
#include <string>

namespace cmhost {

/// Exit codes of the program.
enum ExitCode : int {
  exitDone = 0,
  exitFailed = 1,
  exitUsage = 2,
  exitDamaged = 3,   ///< the output is complete, but damage of the input was concealed
  exitSignal = 128,  ///< plus the number of the signal that interrupted the run
};

/// An error that ends the run. The message is one line: what went wrong, where, and what to do.
class Failure : public std::runtime_error {
 public:
  explicit Failure(const std::string& message, ExitCode exitCode = exitFailed)
      : std::runtime_error(message), exitCode_(exitCode) {}

  ExitCode exitCode() const { return exitCode_; }

 private:
  ExitCode exitCode_;
};

}  // namespace cmhost
