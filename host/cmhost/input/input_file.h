#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "host/cmhost/input/integrity/byte_source.h"
#include "host/cmhost/network/network_io.h"
#include "host/cmhost/options.h"
#include "host/cmhost/support/file_io.h"

namespace cmhost {

/// Reads the bytes of the input for the demuxer. A signal or another thread can interrupt a blocked
/// read; this and all later reads then fail with `AVERROR_EXIT`.
class InputFile {
 public:
  /// Opens a file or a network address; "-" is standard input, and of a sequence, its first file is
  /// opened. It starts at `firstNumber` or a little later, see `firstOf`. `options` are those of
  /// the demuxer and of the network protocol. Throws `Failure`.
  explicit InputFile(const std::string& path, const Options::KeyValues& options = {},
                     int firstNumber = 0);

  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  /// Null if the demuxer opens the network address itself.
  AVIOContext* io() { return network_ != nullptr ? network_->io() : io_.get(); }

  /// The options for the demuxer.
  const Options::KeyValues& demuxerOptions() const { return demuxerOptions_; }

  /// Whether the sender of a live stream may end it at any time. The protocols report this as an
  /// error.
  bool isLive() const { return isNetwork() && schemeOf(name_).rfind("http", 0) != 0; }

  bool isNetwork() const { return isNetworkAddress(name_); }

  /// The name used in messages.
  const std::string& name() const { return name_; }

  /// Whether it is a regular file.
  bool seekable() const { return size_ >= 0; }

  /// Size in bytes. For a file, up to the end that was found while reading; for a pipe, the number
  /// of bytes read so far.
  std::int64_t size() const;

  /// Call it before the file is read in order. From now on, the input ends where the end of the
  /// file is first reached, even if data is appended later.
  void keepEnd();

  /// Whether the file has grown since it was opened.
  bool hasGrown() const;

  /// Whether the end of a growing file was reached, which may be at any byte.
  bool endsWhileGrowing() const { return endIsKept() && hasGrown(); }

  /// Whether the end was reached after `keepEnd`. Call it on the reading thread.
  bool endIsKept() const { return keepsEnd_ && end_ >= 0; }

  /// The size declared by the container, see `file_structure.h`; -1 when unknown.
  std::int64_t declaredSize() const;

  /// Describes what is missing at the end of a network address whose size is known; empty when
  /// nothing is.
  std::string missingFromNetwork() const;

  /// Stops reading. Any thread.
  void interrupt();

  /// Whether reading was stopped by `interrupt` or a signal.
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
  std::int64_t size_ = -1;  ///< of a regular file when it was opened; otherwise -1
  std::int64_t end_ = -1;   ///< where the end of the file was reached; -1: not yet
  bool keepsEnd_ = false;
  PassedBytes passed_;  ///< data read from a pipe
  IoPtr io_;
  Options::KeyValues demuxerOptions_;
  std::unique_ptr<NetworkIo> network_;  ///< null for files and pipes
};

}  // namespace cmhost
