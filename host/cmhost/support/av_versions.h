#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <cstddef>
#include <cstdint>

// What differs between the media libraries' versions: FFmpeg 5.1 is in Debian 12, 7.1 in Debian 13.

namespace cmhost {

/// What a write callback gets a pointer to.
#if LIBAVFORMAT_VERSION_MAJOR >= 61
using WrittenByte = const std::uint8_t;
#else
using WrittenByte = std::uint8_t;
#endif

/// How long a frame is shown, in its stream's time base; 0 when unknown.
inline std::int64_t durationOf(const AVFrame& frame) {
#if LIBAVUTIL_VERSION_MAJOR >= 58
  return frame.duration;
#else
  return frame.pkt_duration;
#endif
}

/// Whether the frame is a pair of fields.
inline bool isInterlacedFrame(const AVFrame& frame) {
#if LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(58, 7, 100)
  return (frame.flags & AV_FRAME_FLAG_INTERLACED) != 0;
#else
  return frame.interlaced_frame != 0;
#endif
}

/// Whether the upper field of an interlaced frame is shown first.
inline bool isTopFieldFirst(const AVFrame& frame) {
#if LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(58, 7, 100)
  return (frame.flags & AV_FRAME_FLAG_TOP_FIELD_FIRST) != 0;
#else
  return frame.top_field_first != 0;
#endif
}

/// Sets what the two functions above return.
inline void setInterlaced(AVFrame& frame, bool interlaced, bool topFieldFirst) {
#if LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(58, 7, 100)
  frame.flags &= ~(AV_FRAME_FLAG_INTERLACED | AV_FRAME_FLAG_TOP_FIELD_FIRST);
  if (interlaced) frame.flags |= AV_FRAME_FLAG_INTERLACED;
  if (topFieldFirst) frame.flags |= AV_FRAME_FLAG_TOP_FIELD_FIRST;
#else
  frame.interlaced_frame = interlaced ? 1 : 0;
  frame.top_field_first = topFieldFirst ? 1 : 0;
#endif
}

/// The pixel formats that an encoder takes, ended by `AV_PIX_FMT_NONE`; null when it takes any.
inline const AVPixelFormat* pixelFormatsOf(const AVCodec& codec) {
#if LIBAVCODEC_VERSION_INT >= AV_VERSION_INT(61, 13, 100)
  const void* formats = nullptr;
  avcodec_get_supported_config(nullptr, &codec, AV_CODEC_CONFIG_PIX_FORMAT, 0, &formats, nullptr);
  return static_cast<const AVPixelFormat*>(formats);
#else
  return codec.pix_fmts;
#endif
}

/// Lets the decoder call its `get_buffer2` from any of its threads.
inline void allowCallsFromThreads(AVCodecContext& decoder) {
#if LIBAVCODEC_VERSION_MAJOR < 60
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
  decoder.thread_safe_callbacks = 1;
#pragma GCC diagnostic pop
#else
  static_cast<void>(decoder);
#endif
}

/// What a container holds about a stream as a whole, such as its rotation.
struct StreamSideData {
  const AVPacketSideData* data;
  int count;
};

inline StreamSideData sideDataOf(const AVStream& stream) {
#if LIBAVFORMAT_VERSION_MAJOR >= 61
  return {stream.codecpar->coded_side_data, stream.codecpar->nb_coded_side_data};
#else
  return {stream.side_data, stream.nb_side_data};
#endif
}

/// Gives a stream side data of `size` bytes, in the place of what it has of that type. Null when
/// there is no memory.
inline std::uint8_t* newSideData(AVStream& stream, AVPacketSideDataType type, std::size_t size) {
#if LIBAVFORMAT_VERSION_MAJOR >= 61
  AVPacketSideData* const data = av_packet_side_data_new(
      &stream.codecpar->coded_side_data, &stream.codecpar->nb_coded_side_data, type, size, 0);
  return data != nullptr ? data->data : nullptr;
#else
  return av_stream_new_side_data(&stream, type, size);
#endif
}

}  // namespace cmhost
