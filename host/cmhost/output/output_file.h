#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>

#include "host/cmhost/output/staged_file.h"
#include "host/cmhost/support/file_io.h"

namespace cmhost {

/// The bytes of an output. A regular file is written under a temporary name next to its place and
/// gets its own name by `put`, so nothing that looks complete is left when anything goes wrong.
/// Pipes and devices are written as they are.
class OutputFile {
 public:
  struct Mode {
    bool overwrite = false;    ///< an existing regular file is replaced
    bool keepPartial = false;  ///< what is not put in its place keeps its temporary name
    bool synchronise = true;   ///< what is written is on the disk before it gets its name
  };

  /// Opens the place of `path` for writing; "-" is standard output, which must be reserved. Throws
  /// `Failure`, also for an existing regular file that may not be replaced.
  OutputFile(const std::string& path, Mode mode);

  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  AVIOContext* io() { return io_.get(); }

  /// How messages call it.
  const std::string& name() const { return name_; }

  /// Throws `Failure` when a write has failed; the system's error is named.
  void check() const;

  /// Throws `Failure` when whoever read the pipe has gone. Any thread.
  void checkReader() const;

  /// Ends a write that waits for the reader of a pipe or device; every further write to it fails.
  /// A regular file can still be written. Any thread.
  void abandon();

  /// Everything is written: synchronises and closes the file. Throws `Failure`.
  void finish();

  /// Gives the finished file its name. Throws `Failure`.
  void put();

  /// The name under which a part is kept when this goes without `put`; empty when none is.
  std::string partialName() const;

  /// Whether both are regular files that are to get the same name.
  bool isSamePlace(const OutputFile& other) const;

 private:
  /// When a write waits for the output's reader.
  enum class Waiting { never, whenFull, whenSocketIsFull, beforeEachWrite };

  static int write(void* self, WrittenByte* buffer, int size);
  static std::int64_t seek(void* self, std::int64_t offset, int whence);
  void openPlace(const std::string& path);
  void openPipe();
  bool waitForReader();
  int writeSome(const std::uint8_t* bytes, int size);

  std::string name_;
  Mode mode_;
  std::optional<StagedFile> staged_;  ///< none when written in place
  int writeError_ = 0;
  FileDescriptor file_;
  Waiting waiting_ = Waiting::never;
  Event abandoned_;
  std::atomic<bool> isAbandoned_{false};
  IoPtr io_;
};

}  // namespace cmhost
