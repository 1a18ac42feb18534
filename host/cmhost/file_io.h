#pragma once

extern "C" {
#include <libavformat/avio.h>
}

#include <cstdint>
#include <string>

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

/// The bytes of the input, for the demuxer. Reading waits in a way that another thread can end.
class InputFile {
 public:
  /// Throws `Failure`.
  explicit InputFile(const std::string& path);
  ~InputFile();
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  AVIOContext* io() { return io_; }

  /// Size in bytes, or -1 for a pipe.
  std::int64_t size() const { return size_; }

  /// How long it should be, see `file_structure.h`; -1 when it does not say.
  std::int64_t declaredSize() const;

  /// Reading stops with an error, now and from now on. Any thread.
  void interrupt();

 private:
  static int read(void* self, std::uint8_t* buffer, int size);
  static std::int64_t seek(void* self, std::int64_t offset, int whence);

  FileDescriptor file_;
  FileDescriptor interruption_;
  std::int64_t size_ = -1;
  AVIOContext* io_ = nullptr;
};

/// The bytes of the output. A regular file is written under a temporary name beside its place and
/// gets its own name by `commit`, so nothing that looks whole is left when anything goes wrong.
/// Pipes and devices are written as they are.
class OutputFile {
 public:
  /// Standard output, whose descriptor this object takes for itself: from then on everything that
  /// anybody prints on standard output goes to standard error.
  static FileDescriptor takeStandardOutput();

  /// Opens the place of `path` for writing. Throws `Failure`; an existing regular file is one,
  /// unless `overwrite`.
  OutputFile(const std::string& path, bool overwrite);

  /// Writes to a descriptor; `name` is how messages call it.
  OutputFile(FileDescriptor descriptor, const std::string& name);

  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  AVIOContext* io() { return io_; }
  const std::string& name() const { return name_; }

  /// Throws `Failure` when a write has failed; the system's error is named.
  void check() const;

  /// Everything is written: closes the file and gives it its name. Throws `Failure`.
  void commit();

 private:
  static int write(void* self, std::uint8_t* buffer, int size);
  static std::int64_t seek(void* self, std::int64_t offset, int whence);
  void openIo(bool seekable);
  [[noreturn]] void failWriting(int systemError) const;

  std::string name_;
  std::string target_;     ///< empty when written in place
  std::string temporary_;  ///< not empty while a temporary file exists
  bool overwrite_ = false;
  int writeError_ = 0;
  FileDescriptor file_;
  AVIOContext* io_ = nullptr;
};

}  // namespace cmhost
