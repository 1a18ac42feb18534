#pragma once

#include <fcntl.h>

#include <string>

#include "host/cmhost/support/failure.h"

/// Requests to end the run: SIGINT, SIGTERM, SIGHUP or SIGQUIT. The first signal is only recorded:
/// the input stops reading, and the run finishes the frames in flight. Signals within a second of
/// it are ignored, because some senders signal a process and then its group. A later signal removes
/// the temporary files and ends the process at once.
///
/// Every other signal that can be caught and ends a process by default removes the temporary files
/// first.
namespace cmhost::interruption {

/// Installs the signal handlers. Signals that are already ignored or handled are not changed.
void install();

/// The first signal received, or 0. Any thread.
int received();

/// A file descriptor that becomes readable with the first signal.
int descriptor();

/// Removes the files of all existing `TemporaryFile` objects before the process ends at once. May
/// be called from any thread and from signal handlers.
void removeTemporaryFiles() noexcept;

/// Registers a file that is removed when a signal ends the process during the lifetime of this
/// object. The file need not exist yet. A process can register up to sixteen files; further ones
/// are ignored.
class TemporaryFile {
 public:
  TemporaryFile() = default;

  /// `name` is relative to `folder`, a descriptor that must stay open as long as this object.
  explicit TemporaryFile(const std::string& name, int folder = AT_FDCWD);

  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  TemporaryFile& operator=(TemporaryFile&& other) noexcept;
  ~TemporaryFile();

 private:
  int slot_ = -1;
};

/// Ends a run that was interrupted before the first frame.
class Interrupted : public Failure {
 public:
  Interrupted() : Failure("interrupted before the first frame was marked") {}
};

}  // namespace cmhost::interruption
