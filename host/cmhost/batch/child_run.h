#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "host/cmhost/support/file_io.h"

struct pollfd;

namespace cmhost {

/// A run of this program as a child process. Its messages are printed with the name of its input;
/// what it writes to standard output is kept.
class ChildRun {
 public:
  /// Starts the program. `name` is put in front of each line that it prints. Throws `Failure`.
  ChildRun(std::string name, const std::vector<std::string>& arguments);

  ChildRun(ChildRun&&) = default;
  ChildRun& operator=(ChildRun&&) = default;

  /// Adds what `poll` has to wait for.
  void addTo(std::vector<pollfd>& waits) const;

  /// Prints the messages that have come, and finds out whether the process has ended.
  void advance();

  void signal(int number) const;

  /// The exit status, or minus the number of the signal that ended it; empty while it runs.
  std::optional<int> status() const { return status_; }

  /// Its standard output.
  const std::string& output() const { return output_; }

 private:
  void read();
  void printLines(bool all);
  void printLine(const std::string& line) const;

  std::string name_;
  pid_t process_ = -1;
  FileDescriptor messages_;
  FileDescriptor results_;
  std::string pending_;  ///< messages without a line end
  std::string output_;
  std::optional<int> status_;
};

}  // namespace cmhost
