#include "host/cmhost/output/streams/container_support.h"

extern "C" {
#include <libavutil/avstring.h>
}

#include <algorithm>
#include <cstring>
#include <iterator>
#include <new>

#include "host/cmhost/output/streams/copied_stream.h"

namespace cmhost {

namespace {

// The muxer of transport streams accepts any codec, but demuxers recognise only these.
bool isKnownInTransportStreams(AVCodecID codec) {
  static constexpr AVCodecID known[] = {
      AV_CODEC_ID_MPEG1VIDEO, AV_CODEC_ID_MPEG2VIDEO,   AV_CODEC_ID_MPEG4,
      AV_CODEC_ID_H264,       AV_CODEC_ID_HEVC,         AV_CODEC_ID_VC1,
      AV_CODEC_ID_DIRAC,      AV_CODEC_ID_CAVS,         AV_CODEC_ID_MP1,
      AV_CODEC_ID_MP2,        AV_CODEC_ID_MP3,          AV_CODEC_ID_AAC,
      AV_CODEC_ID_AAC_LATM,   AV_CODEC_ID_AC3,          AV_CODEC_ID_EAC3,
      AV_CODEC_ID_DTS,        AV_CODEC_ID_TRUEHD,       AV_CODEC_ID_OPUS,
      AV_CODEC_ID_S302M,      AV_CODEC_ID_DVB_SUBTITLE, AV_CODEC_ID_DVB_TELETEXT,
      AV_CODEC_ID_SMPTE_KLV,  AV_CODEC_ID_TIMED_ID3,
  };
  return std::find(std::begin(known), std::end(known), codec) != std::end(known);
}

// Some muxers write a header for any codec.
bool isKnown(const AVOutputFormat& container, const AVCodecParameters& parameters) {
  if (std::strcmp(container.name, "mpegts") == 0)
    return isKnownInTransportStreams(parameters.codec_id);
  if (parameters.codec_type == AVMEDIA_TYPE_ATTACHMENT)
    return std::strcmp(container.name, "matroska") == 0;
  // Matroska reports codecs without a native codec ID as experimental.
  const int known =
      avformat_query_codec(&container, parameters.codec_id, FF_COMPLIANCE_EXPERIMENTAL);
  if (known >= 0) return known > 0;
  return parameters.codec_type == AVMEDIA_TYPE_AUDIO && container.audio_codec != AV_CODEC_ID_NONE;
}

// AVI supports H.264 only with start codes (Annex B).
bool hasForm(const AVOutputFormat& container, const AVCodecParameters& parameters) {
  const bool asInMp4 = parameters.codec_id == AV_CODEC_ID_H264 && parameters.extradata_size > 0 &&
                       parameters.extradata[0] == 1;
  return !asInMp4 || std::strcmp(container.name, "avi") != 0;
}

}  // namespace

bool supports(const AVOutputFormat& container, const AVCodecParameters& parameters) {
  return isKnown(container, parameters) && hasForm(container, parameters);
}

bool acceptsHeaderWith(const AVFormatContext& format,
                       const std::function<void(AVFormatContext& copy)>& add) {
  AVFormatContext* copy = nullptr;
  // These write transport streams, but their headers need files or a connection.
  const bool isWrapped = av_match_name(format.oformat->name, "hls,rtp_mpegts") != 0;
  const AVOutputFormat* const tried =
      isWrapped ? av_guess_format("mpegts", nullptr, nullptr) : format.oformat;
  if (avformat_alloc_output_context2(&copy, tried, nullptr, nullptr) < 0) throw std::bad_alloc();
  const OutputFormatPtr owner(copy);
  copy->io_open = refuseToOpen;
  for (unsigned int i = 0; i < format.nb_streams; ++i) {
    const AVStream& stream = *format.streams[i];
    // Attachments do not affect other streams, and may be many and large.
    if (stream.codecpar->codec_type != AVMEDIA_TYPE_ATTACHMENT) addCopyOf(stream, *copy);
  }
  add(*copy);
  if (avio_open_dyn_buf(&copy->pb) < 0) throw std::bad_alloc();
  const int result = avformat_write_header(copy, nullptr);
  if (result >= 0) av_write_trailer(copy);
  std::uint8_t* written = nullptr;
  avio_close_dyn_buf(copy->pb, &written);
  av_free(written);
  return result >= 0;
}

int refuseToOpen(AVFormatContext* /*format*/, AVIOContext** /*io*/, const char* /*url*/,
                 int /*flags*/, AVDictionary** /*options*/) {
  return AVERROR(EPERM);
}

}  // namespace cmhost
