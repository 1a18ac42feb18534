#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "host/cmhost/support/av.h"

namespace cmhost {

/// Limits the memory that the media libraries use for an input, whatever the input declares. All
/// limits are derived from the maximum number of pixels of a frame.
class MemoryLimits {
 public:
  /// `input` names the file in messages.
  MemoryLimits(std::string input, std::int64_t maxPixels);

  /// Limit in bytes for all decoded frames together: 64 bytes per pixel of the largest frame
  /// allowed, but at least 1 GiB.
  static std::int64_t pictureBytes(std::int64_t maxPixels);

  /// Calls `avformat_find_stream_info` for an opened file. Throws `Failure` when it needs too much
  /// memory.
  int findStreams(AVFormatContext& format) const;

  /// Throws `Failure` when a frame of this size is larger than allowed.
  void check(int width, int height) const;

  /// Whether this log line of the media library reports a frame that is larger than allowed.
  static bool isTooLarge(const std::string& logged);

  /// Throws `Failure` when a decoder failed because of these limits; `reason` is its error.
  void check(const std::string& reason) const;

  /// Applies the limits to a decoder before it is opened, and gives it at most `threads` threads;
  /// 0: any number. The decoder must not outlive this object; its frames may.
  void limit(AVCodecContext& decoder, int threads);

 private:
  struct Pictures;
  struct CountedBuffer;

  static int getBuffer(AVCodecContext* decoder, AVFrame* frame, int flags);
  static AVBufferRef* counted(AVBufferRef* buffer, const std::shared_ptr<Pictures>& pictures);
  std::int64_t decoderPixels() const;
  [[noreturn]] void failTooLarge(const std::string& size) const;

  std::string input_;
  std::int64_t maxPixels_;
  std::shared_ptr<Pictures> pictures_;
};

}  // namespace cmhost
