#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "host/cmhost/support/av_versions.h"

namespace cmhost {

/// Owns a file descriptor and closes it.
class FileDescriptor {
 public:
  explicit FileDescriptor(int number = -1) : number_(number) {}
  FileDescriptor(FileDescriptor&& other) noexcept;
  FileDescriptor& operator=(FileDescriptor&& other) noexcept;
  ~FileDescriptor();

  int number() const { return number_; }

  /// Closes it now. Returns false, with `errno` set, on an error, which may belong to an earlier
  /// write.
  bool close();

 private:
  int number_;
};

/// A flag whose descriptor becomes readable with the first `raise`, so that `poll` can wait for it
/// together with files.
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

/// The media libraries' handle of a file.
using IoPtr = std::unique_ptr<AVIOContext, IoFree>;

/// `seek` may be null. Throws `std::bad_alloc`.
IoPtr newReader(void* owner, int (*read)(void*, std::uint8_t*, int),
                std::int64_t (*seek)(void*, std::int64_t, int));
IoPtr newWriter(void* owner, int (*write)(void*, WrittenByte*, int),
                std::int64_t (*seek)(void*, std::int64_t, int));

/// Whether the descriptor refers to a regular file. Stores its size in `size`.
bool isRegular(int file, std::int64_t* size = nullptr);

/// Seeks in a regular file, as a seek callback of the media libraries.
std::int64_t seekRegular(int file, std::int64_t offset, int whence);

/// Enlarges the buffer of a pipe, which reduces context switches.
void widenPipe(int file);

/// Waits until the data of a regular file, a folder or a disk is on disk. Returns true for files
/// that do not support this. Returns false, with `errno` set, when data is lost.
bool synchronise(int file);

/// The system's text for an error number.
std::string systemText(int error);

/// Throws `Failure`: the output `name` cannot be written because of `error`.
[[noreturn]] void failWriting(const std::string& name, int error);

}  // namespace cmhost
