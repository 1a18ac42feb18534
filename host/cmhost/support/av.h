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

/// The pointer, or `std::bad_alloc` when it is null.
template <typename Ptr>
Ptr orThrow(typename Ptr::pointer object) {
  if (object == nullptr) throw std::bad_alloc();
  return Ptr(object);
}

inline FramePtr newFrame() { return orThrow<FramePtr>(av_frame_alloc()); }

/// A frame with the properties, size and pixel format of `like` and without a picture. Throws
/// `std::bad_alloc`.
FramePtr emptyFrameLike(const AVFrame& like);

/// Gives a frame that has a size and a pixel format memory for its picture. Throws
/// `std::bad_alloc`.
void allocatePicture(AVFrame& frame);
inline PacketPtr newPacket() { return orThrow<PacketPtr>(av_packet_alloc()); }

/// From now on the media libraries' own messages are not printed; the last error is kept.
void captureAvLog();

/// A warning or an error that the media libraries log, or a repair.
struct AvLogLine {
  int level = 0;  ///< AV_LOG_WARNING or worse, unless it is a repair
  AVClassCategory category = AV_CLASS_CATEGORY_NA;
  bool isRepair = false;  ///< what was lost has been replaced or left out
  std::string text;       ///< behind the name of what logs it, without a line end
};

/// Gets what the media libraries log while it lives; one at a time.
class AvLogListener {
 public:
  AvLogListener();
  virtual ~AvLogListener();
  AvLogListener(const AvLogListener&) = delete;
  AvLogListener& operator=(const AvLogListener&) = delete;

  /// Called on any thread, one call at a time. Must not call the media libraries.
  virtual void logged(const AvLogLine& line) = 0;

 protected:
  /// For destructors: `logged` is not called any more.
  void stopListening();
};

/// The media libraries' words for a negative return value, with what they last logged as an error,
/// which often names the reason. The kept message is taken.
std::string avErrorReason(int error);

/// Likewise for a codec that cannot be opened, which is often for want of threads.
std::string openErrorReason(int error);

}  // namespace cmhost
