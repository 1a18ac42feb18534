#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <memory>
#include <string>

#include "host/cmhost/support/av_versions.h"

namespace cmhost {

/// Deleters for the media libraries' objects, which are freed through a pointer to the pointer.
template <auto Free>
struct AvFree {
  template <typename T>
  void operator()(T* object) const {
    Free(&object);
  }
};

struct OutputFormatFree {
  void operator()(AVFormatContext* format) const { avformat_free_context(format); }
};

using FramePtr = std::unique_ptr<AVFrame, AvFree<av_frame_free>>;
using PacketPtr = std::unique_ptr<AVPacket, AvFree<av_packet_free>>;
using CodecPtr = std::unique_ptr<AVCodecContext, AvFree<avcodec_free_context>>;
using InputFormatPtr = std::unique_ptr<AVFormatContext, AvFree<avformat_close_input>>;
using OutputFormatPtr = std::unique_ptr<AVFormatContext, OutputFormatFree>;

/// Wraps `object`; throws `std::bad_alloc` when it is null.
template <typename Ptr>
Ptr orThrow(typename Ptr::pointer object) {
  if (object == nullptr) throw std::bad_alloc();
  return Ptr(object);
}

inline FramePtr newFrame() { return orThrow<FramePtr>(av_frame_alloc()); }

/// A frame with the properties, size and pixel format of `like`, without pixel data. Throws
/// `std::bad_alloc`.
FramePtr emptyFrameLike(const AVFrame& like);

/// Allocates the pixel data of a frame whose size and pixel format are set. Throws
/// `std::bad_alloc`.
void allocatePicture(AVFrame& frame);
inline PacketPtr newPacket() { return orThrow<PacketPtr>(av_packet_alloc()); }

/// Captures the log of the media libraries: it is no longer printed, and the last error is kept.
void captureAvLog();

/// A line logged by the media libraries: a warning, an error or a repair.
struct AvLogLine {
  int level = 0;  ///< AV_LOG_WARNING or worse, unless it is a repair
  AVClassCategory category = AV_CLASS_CATEGORY_NA;
  bool isRepair = false;  ///< lost data was concealed or dropped
  std::string text;       ///< with the name of the logging object in front, without a line end
};

/// Receives the log of the media libraries during its lifetime. Only one at a time.
class AvLogListener {
 public:
  AvLogListener();
  virtual ~AvLogListener();
  AvLogListener(const AvLogListener&) = delete;
  AvLogListener& operator=(const AvLogListener&) = delete;

  /// Called from any thread, one call at a time. Must not call the media libraries.
  virtual void logged(const AvLogLine& line) = 0;

 protected:
  /// Stops calls of `logged`. For destructors.
  void stopListening();
};

/// Describes an error code of the media libraries, together with the last error that they logged,
/// which often names the cause. Clears that error.
std::string avErrorReason(int error);

/// The same for a codec that cannot be opened, often because a thread cannot be started.
std::string openErrorReason(int error);

}  // namespace cmhost
