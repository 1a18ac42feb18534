#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "host/cmhost/network/network_io.h"
#include "host/cmhost/options.h"
#include "host/cmhost/output/staged_file.h"
#include "host/cmhost/support/file_io.h"

namespace cmhost {

/// Writes the bytes of an output. A regular file is written under a temporary name in the same
/// folder and is renamed by `put`, so that a failed run leaves nothing that looks complete. Pipes
/// and devices are written directly.
class OutputFile {
 public:
  struct Mode {
    bool overwrite = false;    ///< replace an existing regular file
    bool keepPartial = false;  ///< keep an unfinished file under its temporary name
    bool synchronise = true;   ///< write the data to disk before the file is renamed
  };

  /// Opens `path` for writing; "-" is standard output, which must be reserved. Throws `Failure`,
  /// also when an existing regular file must not be replaced.
  OutputFile(const std::string& path, Mode mode);

  /// Connects to a network address. `options` are those of the protocol and of the muxer.
  OutputFile(const std::string& address, const Options::KeyValues& options);

  /// A playlist, which the muxer writes itself with its pieces; `io` is null. Throws `Failure` when
  /// an existing one must not be replaced.
  struct Playlist {};
  OutputFile(const std::string& path, Mode mode, Playlist playlist);

  /// The options that the network protocol does not know.
  const Options::KeyValues& muxerOptions() const { return network_->unused(); }
  bool isPlaylist() const { return network_ == nullptr && io_ == nullptr; }
  bool isNetwork() const { return network_ != nullptr; }
  const Mode& mode() const { return mode_; }

  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  AVIOContext* io() { return network_ != nullptr ? network_->io() : io_.get(); }

  /// The name used in messages.
  const std::string& name() const { return name_; }

  /// A second handle of a regular file, which reads what `io` has written and flushed; its position
  /// is its own. Null when the file is written directly. Only one at a time.
  AVIOContext* openReader();
  void closeReader() { reader_.reset(); }

  /// Throws `Failure` with the system's error when a write has failed.
  void check() const;

  /// Throws `Failure` when the reader has closed the pipe. Any thread.
  void checkReader() const;

  /// Aborts a write that waits for the reader of a pipe or device; later writes to it fail. Regular
  /// files can still be written. Any thread.
  void abandon();

  /// The MD5 and the size of the complete file, before `finish`; empty and -1 for pipes and
  /// devices. Throws `Failure`.
  struct Content {
    std::string md5;
    std::int64_t bytes = -1;
  };
  Content content();

  /// Synchronises and closes the file after the last write. Throws `Failure`.
  void finish();

  /// Renames the finished file to its final name. Throws `Failure`.
  void put();

  /// Completes a regular file and renames it, and opens another one for what follows, with a new
  /// `io`. Throws `Failure`.
  void continueIn(const std::string& path);

  /// The temporary name that remains if this object is destroyed without `put`; empty if nothing
  /// remains.
  std::string partialName() const;

  /// Whether both are regular files with the same final name.
  bool isSamePlace(const OutputFile& other) const;

 private:
  /// When to wait for the reader.
  enum class Waiting { never, whenFull, whenSocketIsFull, beforeEachWrite };

  static int write(void* self, WrittenByte* buffer, int size);
  static std::int64_t seek(void* self, std::int64_t offset, int whence);
  static int readAgain(void* self, std::uint8_t* buffer, int size);
  static std::int64_t seekReader(void* self, std::int64_t offset, int whence);
  void openPlace(const std::string& path);
  void openPipe();
  bool waitForReader();
  int writeSome(const std::uint8_t* bytes, int size);

  std::string name_;
  Mode mode_;
  std::optional<StagedFile> staged_;  ///< empty when written directly
  int writeError_ = 0;
  FileDescriptor file_;
  Waiting waiting_ = Waiting::never;
  Event abandoned_;
  std::atomic<bool> isAbandoned_{false};
  IoPtr io_;
  std::unique_ptr<NetworkIo> network_;  ///< null for files and pipes
  IoPtr reader_;
  std::int64_t readerPosition_ = 0;
};

}  // namespace cmhost
