#pragma once

#include <fcntl.h>

#include <string>

#include "host/cmhost/support/failure.h"

/// The wish of a user or of the system to end the run: SIGINT, SIGTERM, SIGHUP or SIGQUIT. The
/// first one is only noted: the input stops reading and the run ends in good order. What arrives
/// within a second of it, however often, is the same request: some senders signal a process and
/// then its group. A later one removes the temporary files and ends the process at once.
///
/// Every other signal that ends a process and can be caught removes the temporary files, then does
/// what it does by default.
namespace cmhost::interruption {

/// Handles the signals from now on. A signal that is ignored or handled already stays so.
void install();

/// The first signal that came; 0 while none has. Any thread.
int received();

/// A file descriptor that is readable once a signal has come.
int descriptor();

/// Removes every `TemporaryFile` that there is now, for whoever ends the process at once. Any
/// thread and signal handlers may call it.
void removeTemporaryFiles() noexcept;

/// A file that is removed when a signal ends the process, until this object goes. It may be
/// announced before it exists. At most sixteen files in a process are kept; more are left alone.
class TemporaryFile {
 public:
  TemporaryFile() = default;

  /// `folder` is a descriptor that stays open as long as this object; `name` is looked up in it.
  explicit TemporaryFile(const std::string& name, int folder = AT_FDCWD);

  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  TemporaryFile& operator=(TemporaryFile&& other) noexcept;
  ~TemporaryFile();

 private:
  int slot_ = -1;
};

/// Ends a run that was interrupted before it had anything to keep.
class Interrupted : public Failure {
 public:
  Interrupted() : Failure("interrupted before the first frame was marked") {}
};

}  // namespace cmhost::interruption
