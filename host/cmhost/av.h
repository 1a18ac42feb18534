#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <memory>
#include <string>

#include "host/cmhost/av_versions.h"

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
inline PacketPtr newPacket() { return orThrow<PacketPtr>(av_packet_alloc()); }

/// From now on the media libraries' own messages are not printed; the last error is kept.
void captureAvLog();

/// What demuxers have logged as an error since the last call; empty when nothing. By the media
/// libraries' definition such an error means that something is lost, though the call may succeed.
std::string takeDemuxerDamage();

/// What decoders have logged since the last call about pictures that they repaired; empty when
/// nothing.
std::string takeDecoderDamage();

/// The media libraries' words for a negative return value, with what they last logged as an error,
/// which often names the reason. The kept message is taken.
std::string avErrorReason(int error);

}  // namespace cmhost
