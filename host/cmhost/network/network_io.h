#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "host/cmhost/options.h"
#include "host/cmhost/support/av.h"

namespace cmhost {

/// Whether an operand is a network address and not the name of a file: http, https, rtmp, rtmps,
/// rtp, srt, tcp or udp.
bool isNetworkAddress(const std::string& name);

/// The scheme of a network address, such as "udp"; empty for a file.
std::string schemeOf(const std::string& name);

/// The protocols that this network address needs, separated by commas. No others are opened for it.
std::string protocolsFor(const std::string& address);

/// A connection to a network address that the user has named. Waiting for the other side ends with
/// a signal until the connection is open, and with `interrupt` at any time.
class NetworkIo {
 public:
  /// Opens the address with AVIO_FLAG_READ or AVIO_FLAG_WRITE. Options that the protocol knows are
  /// used; the others are in `unused`. Throws `Failure`.
  NetworkIo(const std::string& address, int flags, const Options::KeyValues& options);
  ~NetworkIo();
  NetworkIo(const NetworkIo&) = delete;
  NetworkIo& operator=(const NetworkIo&) = delete;

  AVIOContext* io() { return io_; }

  /// The options that the protocol does not know.
  const Options::KeyValues& unused() const { return unused_; }

  /// Makes reading and writing fail soon. Any thread.
  void interrupt() { isInterrupted_ = true; }

  /// Closes the connection after the last write. Returns an error of the media libraries.
  int close();

 private:
  static int isStopped(void* self);

  const bool isReader_;
  AVIOContext* io_ = nullptr;
  Options::KeyValues unused_;
  std::atomic<bool> isOpen_{false};
  std::atomic<bool> isInterrupted_{false};
};

}  // namespace cmhost
