#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <cstddef>
#include <cstdint>

// Differences between versions of the media libraries: Debian 12 has FFmpeg 5.1, Debian 13 has 7.1.

namespace cmhost {

/// The type of the bytes passed to a write callback.
#if LIBAVFORMAT_VERSION_MAJOR >= 61
using WrittenByte = const std::uint8_t;
#else
using WrittenByte = std::uint8_t;
#endif

/// The duration of a frame in its stream's time base; 0 when unknown.
inline std::int64_t durationOf(const AVFrame& frame) {
#if LIBAVUTIL_VERSION_MAJOR >= 58
  return frame.duration;
#else
  return frame.pkt_duration;
#endif
}

/// Sets the duration that the function above returns.
inline void setDuration(AVFrame& frame, std::int64_t duration) {
#if LIBAVUTIL_VERSION_MAJOR >= 58
  frame.duration = duration;
#else
  frame.pkt_duration = duration;
#endif
}

/// Whether the frame is interlaced.
inline bool isInterlacedFrame(const AVFrame& frame) {
#if LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(58, 7, 100)
  return (frame.flags & AV_FRAME_FLAG_INTERLACED) != 0;
#else
  return frame.interlaced_frame != 0;
#endif
}

/// Whether the top field of an interlaced frame is shown first.
inline bool isTopFieldFirst(const AVFrame& frame) {
#if LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(58, 7, 100)
  return (frame.flags & AV_FRAME_FLAG_TOP_FIELD_FIRST) != 0;
#else
  return frame.top_field_first != 0;
#endif
}

/// Sets the flags that the two functions above return.
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

/// The pixel formats that an encoder supports, terminated by `AV_PIX_FMT_NONE`; null when it
/// supports any.
inline const AVPixelFormat* pixelFormatsOf(const AVCodec& codec) {
#if LIBAVCODEC_VERSION_INT >= AV_VERSION_INT(61, 13, 100)
  const void* formats = nullptr;
  avcodec_get_supported_config(nullptr, &codec, AV_CODEC_CONFIG_PIX_FORMAT, 0, &formats, nullptr);
  return static_cast<const AVPixelFormat*>(formats);
#else
  return codec.pix_fmts;
#endif
}

/// What a sound encoder supports: lists of sample formats, terminated by `AV_SAMPLE_FMT_NONE`, of
/// sample rates, terminated by 0, and of channel layouts, terminated by one without channels. Null
/// when it supports any.
inline const AVSampleFormat* sampleFormatsOf(const AVCodec& codec) {
#if LIBAVCODEC_VERSION_INT >= AV_VERSION_INT(61, 13, 100)
  const void* formats = nullptr;
  avcodec_get_supported_config(nullptr, &codec, AV_CODEC_CONFIG_SAMPLE_FORMAT, 0, &formats,
                               nullptr);
  return static_cast<const AVSampleFormat*>(formats);
#else
  return codec.sample_fmts;
#endif
}

inline const int* sampleRatesOf(const AVCodec& codec) {
#if LIBAVCODEC_VERSION_INT >= AV_VERSION_INT(61, 13, 100)
  const void* rates = nullptr;
  avcodec_get_supported_config(nullptr, &codec, AV_CODEC_CONFIG_SAMPLE_RATE, 0, &rates, nullptr);
  return static_cast<const int*>(rates);
#else
  return codec.supported_samplerates;
#endif
}

inline const AVChannelLayout* channelLayoutsOf(const AVCodec& codec) {
#if LIBAVCODEC_VERSION_INT >= AV_VERSION_INT(61, 13, 100)
  const void* layouts = nullptr;
  avcodec_get_supported_config(nullptr, &codec, AV_CODEC_CONFIG_CHANNEL_LAYOUT, 0, &layouts,
                               nullptr);
  return static_cast<const AVChannelLayout*>(layouts);
#else
  return codec.ch_layouts;
#endif
}

/// The frame rates that an encoder supports, terminated by 0/0; null when it supports any.
inline const AVRational* frameRatesOf(const AVCodec& codec) {
#if LIBAVCODEC_VERSION_INT >= AV_VERSION_INT(61, 13, 100)
  const void* rates = nullptr;
  avcodec_get_supported_config(nullptr, &codec, AV_CODEC_CONFIG_FRAME_RATE, 0, &rates, nullptr);
  return static_cast<const AVRational*>(rates);
#else
  return codec.supported_framerates;
#endif
}

/// Allows the decoder to call `get_buffer2` from any of its threads.
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

/// The side data of a stream, such as its rotation.
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

/// Adds `size` bytes of side data to a stream, replacing side data of the same type. Null when out
/// of memory.
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
