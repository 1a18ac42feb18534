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

}  // namespace cmhost
