#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "host/cmhost/support/av_versions.h"

namespace cmhost {

/// A file descriptor that is closed with its owner.
class FileDescriptor {
 public:
  explicit FileDescriptor(int number = -1) : number_(number) {}
  FileDescriptor(FileDescriptor&& other) noexcept;
  FileDescriptor& operator=(FileDescriptor&& other) noexcept;
  ~FileDescriptor();

  int number() const { return number_; }

  /// Closes it now; false when the system reports an error, which can be the first word of a write
  /// that went wrong.
  bool close();

 private:
  int number_;
};

/// Readable from the first `raise` on, so that whoever waits for a file can wait for this as well.
class Event {
 public:
  /// Throws `Failure`.
  Event();

  int descriptor() const { return file_.number(); }

  /// Any thread.
  void raise();

 private:
  FileDescriptor file_;
};

struct IoFree {
  void operator()(AVIOContext* io) const;
};

/// The media libraries' view of a file.
using IoPtr = std::unique_ptr<AVIOContext, IoFree>;

/// `seek` may be null. Throws `std::bad_alloc`.
IoPtr newReader(void* owner, int (*read)(void*, std::uint8_t*, int),
                std::int64_t (*seek)(void*, std::int64_t, int));
IoPtr newWriter(void* owner, int (*write)(void*, WrittenByte*, int),
                std::int64_t (*seek)(void*, std::int64_t, int));

/// Whether a descriptor is of a regular file, and its size.
bool isRegular(int file, std::int64_t* size = nullptr);

/// Moves the position of a regular file as the media libraries ask for it.
std::int64_t seekRegular(int file, std::int64_t offset, int whence);

/// The most that a pipe may hold here: fewer switches between the processes at its ends.
void widenPipe(int file);

/// Waits until a regular file, a folder or a disk holds what was written to it. What knows of no
/// such waiting passes. False, with `errno` set, when something written is lost.
bool synchronise(int file);

/// The system's words for an error number.
std::string systemText(int error);

/// Throws `Failure`: the output `name` cannot be written, for the system's reason.
[[noreturn]] void failWriting(const std::string& name, int error);

}  // namespace cmhost
