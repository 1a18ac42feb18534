#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "host/cmhost/support/av.h"

namespace cmhost {

/// What an input may make the media libraries hold in memory, whatever it says about itself. All of
/// it follows from the most pixels that one picture may have.
class MemoryLimits {
 public:
  /// `input` is how messages call the file.
  MemoryLimits(std::string input, std::int64_t maxPixels);

  /// Bytes of decoded pictures that exist at once: 64 for each pixel of the largest picture
  /// allowed, but 1 GiB at least.
  static std::int64_t pictureBytes(std::int64_t maxPixels);

  /// Looks for the streams of an opened file, as `avformat_find_stream_info` does. Throws `Failure`
  /// when that takes too much memory.
  int findStreams(AVFormatContext& format) const;

  /// Throws `Failure` when a picture of this size is larger than allowed.
  void check(int width, int height) const;

  /// Whether the media library logged that a picture is larger than allowed.
  static bool isTooLarge(const std::string& logged);

  /// Throws `Failure` when `reason`, for which a decoder failed, is one of these limits.
  void check(const std::string& reason) const;

  /// Holds a decoder to the limits, before it is opened. It must not outlive this object; its
  /// pictures may.
  void limit(AVCodecContext& decoder);

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
