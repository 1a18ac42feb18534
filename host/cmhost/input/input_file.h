#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "host/cmhost/input/integrity/byte_source.h"
#include "host/cmhost/support/file_io.h"

namespace cmhost {

/// The bytes of the input, for the demuxer. Reading waits in a way that another thread and a signal
/// can end; it then fails with `AVERROR_EXIT`, now and from now on.
class InputFile {
 public:
  /// Opens `path`; "-" is standard input. Throws `Failure`.
  explicit InputFile(const std::string& path);

  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  AVIOContext* io() { return io_.get(); }

  /// How messages call it.
  const std::string& name() const { return name_; }

  bool seekable() const { return size_ >= 0; }

  /// Size in bytes: of a file, up to where reading found its end; of a pipe, what has come out of
  /// it so far.
  std::int64_t size() const;

  /// What follows is read once, in order: the input ends where reading first finds the file's end,
  /// even if more is appended after that.
  void keepEnd();

  /// Whether the file has become longer since it was opened.
  bool hasGrown() const;

  /// Whether the end that has been kept is one of a file that has grown, and may lie anywhere.
  bool endsWhileGrowing() const { return endIsKept() && hasGrown(); }

  /// Whether reading has found the end after `keepEnd`. On the reading thread.
  bool endIsKept() const { return keepsEnd_ && end_ >= 0; }

  /// How long it should be, see `file_structure.h`; -1 when it does not say.
  std::int64_t declaredSize() const;

  /// Ends reading. Any thread.
  void interrupt();

  /// Whether reading has been ended, by `interrupt` or by a signal.
  bool interrupted() const;

 private:
  static int read(void* self, std::uint8_t* buffer, int size);
  static std::int64_t seek(void* self, std::int64_t offset, int whence);
  bool waitForBytes() const;
  std::int64_t position() const;
  void noteEnd();

  std::string name_;
  FileDescriptor file_;
  Event interruption_;
  std::atomic<bool> interrupted_{false};
  std::int64_t size_ = -1;  ///< of a file when it was opened; -1: no regular file
  std::int64_t end_ = -1;   ///< where reading found the file's end
  bool keepsEnd_ = false;
  PassedBytes passed_;  ///< out of a pipe
  IoPtr io_;
};

}  // namespace cmhost
