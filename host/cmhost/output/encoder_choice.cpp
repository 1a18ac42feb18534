#include "host/cmhost/output/encoder_choice.h"

extern "C" {
#include <libavutil/avstring.h>
}

#include <string>

#include "host/cmhost/output/still_pictures.h"
#include "host/cmhost/support/failure.h"

namespace cmhost {

namespace {

struct ContainerCodec {
  const char* containers;  ///< names, separated by commas
  AVCodecID codec;
};

// Broadcast and DVD video stays in its own codec, because receivers expect it.
constexpr ContainerCodec keptCodecs[] = {
    {"mpegts", AV_CODEC_ID_MPEG2VIDEO},
    {"mpegts", AV_CODEC_ID_H264},
    {"mpegts", AV_CODEC_ID_HEVC},
    {"mpeg,vob", AV_CODEC_ID_MPEG1VIDEO},
};

// Where the container's own default does not fit. MPEG-1, the default of program streams, has no
// interlaced video.
constexpr ContainerCodec ownCodecs[] = {
    {"nut", AV_CODEC_ID_RAWVIDEO},
    {"mpeg", AV_CODEC_ID_MPEG2VIDEO},
    {"flv,rtp_mpegts", AV_CODEC_ID_H264},
};

constexpr ContainerCodec losslessCodecs[] = {
    {"matroska,avi", AV_CODEC_ID_FFV1},
    {"mpegts", AV_CODEC_ID_H264},
};

// All that these containers can hold, or all that players find in them. The media libraries do not
// know it before the header is written.
constexpr ContainerCodec onlyCodecs[] = {
    {"mpegts,mpeg,vob,svcd,dvd", AV_CODEC_ID_MPEG2VIDEO},
    {"mpegts,mpeg,vob,svcd,dvd,vcd", AV_CODEC_ID_MPEG1VIDEO},
    {"mpegts,mpeg,vob,dvd", AV_CODEC_ID_MPEG4},
    {"mpegts,mpeg,vob,dvd", AV_CODEC_ID_H264},
    {"mpegts,mpeg,vob,dvd", AV_CODEC_ID_HEVC},
    {"mpegts", AV_CODEC_ID_JPEG2000},
    {"mxf,mxf_d10", AV_CODEC_ID_MPEG2VIDEO},
    {"mxf,mxf_opatom", AV_CODEC_ID_DNXHD},
    {"mxf", AV_CODEC_ID_DVVIDEO},
    {"mxf", AV_CODEC_ID_H264},
    {"mxf", AV_CODEC_ID_JPEG2000},
    {"mxf", AV_CODEC_ID_PRORES},
    {"ogg,ogv", AV_CODEC_ID_THEORA},
    {"ogg,ogv", AV_CODEC_ID_VP8},
    {"yuv4mpegpipe", AV_CODEC_ID_RAWVIDEO},
    {"yuv4mpegpipe", AV_CODEC_ID_WRAPPED_AVFRAME},
};

bool isListed(const ContainerCodec& each, const AVOutputFormat& container) {
  return av_match_name(container.name, each.containers) != 0;
}

AVCodecID codecFor(const AVOutputFormat& container, AVCodecID from, bool lossless) {
  if (lossless)
    for (const ContainerCodec& each : losslessCodecs)
      if (isListed(each, container)) return each.codec;
  for (const ContainerCodec& each : keptCodecs)
    if (isListed(each, container) && each.codec == from && avcodec_find_encoder(from) != nullptr)
      return from;
  for (const ContainerCodec& each : ownCodecs)
    if (isListed(each, container)) return each.codec;
  return container.video_codec;
}

}  // namespace

const AVCodec* defaultEncoder(const AVOutputFormat& container, AVCodecID from, bool lossless) {
  return avcodec_find_encoder(codecFor(container, from, lossless));
}

bool holds(const AVOutputFormat& container, AVCodecID codec, int compliance) {
  bool isKnown = false;
  for (const ContainerCodec& each : onlyCodecs) {
    if (!isListed(each, container)) continue;
    if (each.codec == codec) return true;
    isKnown = true;
  }
  return !isKnown && avformat_query_codec(&container, codec, compliance) != 0;
}

const AVCodec& chooseEncoder(const Options& options, const AVOutputFormat& container,
                             AVCodecID from) {
  const std::string& name = options.encoder;
  const bool isStill = isStillOutput(options.output, options.outputFormat);
  const AVCodec* const codec = !name.empty() ? avcodec_find_encoder_by_name(name.c_str())
                               : isStill     ? avcodec_find_encoder(stillCodec(options.output))
                                             : defaultEncoder(container, from, options.lossless);
  if (codec == nullptr && name.empty())
    throw Failure(std::string("the container '") + container.name +
                      "' has no default video encoder; choose one with --encoder",
                  exitUsage);
  if (codec == nullptr || codec->type != AVMEDIA_TYPE_VIDEO)
    throw Failure("--encoder: no video encoder named '" + name + "'; see cmhost --list-encoders",
                  exitUsage);
  if (!holds(container, codec->id))
    throw Failure(std::string("the container '") + container.name +
                      "' does not support the encoder '" + codec->name +
                      "'; choose another with --encoder",
                  exitUsage);
  return *codec;
}

}  // namespace cmhost
