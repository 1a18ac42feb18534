#pragma once

#include <string>

#include "host/cmhost/failure.h"

/// The wish of a user or of the system to end the run. The first SIGINT or SIGTERM is only noted:
/// the input stops reading and the run ends in good order. The second one ends the process at once.
namespace cmhost::interruption {

/// Handles the signals from now on. One that the process was started to ignore stays ignored.
void install();

/// The first signal that came; 0 while none has. Any thread.
int received();

/// A file descriptor that is readable once a signal has come.
int descriptor();

/// Removes every `TemporaryFile` that there is now, for whoever ends the process at once. Signal
/// handlers may call it.
void removeTemporaryFiles();

/// A file that a second signal removes before the process ends, until this object goes. At most
/// eight files at a time are kept; more are left alone.
class TemporaryFile {
 public:
  TemporaryFile() = default;
  explicit TemporaryFile(const std::string& path);
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
