#include "host/cmhost/output/streams/converted_subtitles.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "host/cmhost/output/streams/container_support.h"
#include "host/cmhost/output/streams/encoded_stream.h"
#include "host/cmhost/support/av_log.h"

namespace cmhost {

namespace {

constexpr std::size_t mostTextBytes = std::size_t{1} << 20;

bool isText(AVCodecID codec) {
  const AVCodecDescriptor* const descriptor = avcodec_descriptor_get(codec);
  return descriptor != nullptr && (descriptor->props & AV_CODEC_PROP_TEXT_SUB) != 0;
}

CodecPtr openDecoder(const AVStream& from) {
  const AVCodec* const codec = avcodec_find_decoder(from.codecpar->codec_id);
  if (codec == nullptr || !isText(codec->id)) return nullptr;
  CodecPtr decoder = orThrow<CodecPtr>(avcodec_alloc_context3(codec));
  if (avcodec_parameters_to_context(decoder.get(), from.codecpar) < 0) throw std::bad_alloc();
  decoder->pkt_timebase = from.time_base;
  return avcodec_open2(decoder.get(), codec, nullptr) >= 0 ? std::move(decoder) : nullptr;
}

CodecPtr openEncoder(const AVCodec& codec, const AVCodecContext& decoder,
                     const AVOutputFormat& container) {
  CodecPtr encoder = orThrow<CodecPtr>(avcodec_alloc_context3(&codec));
  encoder->time_base = av_get_time_base_q();
  encoder->flags |= AV_CODEC_FLAG_BITEXACT;
  if ((container.flags & AVFMT_GLOBALHEADER) != 0) encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  if (decoder.subtitle_header != nullptr) {
    const auto size = static_cast<std::size_t>(decoder.subtitle_header_size);
    encoder->subtitle_header = static_cast<std::uint8_t*>(av_mallocz(size + 1));
    if (encoder->subtitle_header == nullptr) throw std::bad_alloc();
    std::memcpy(encoder->subtitle_header, decoder.subtitle_header, size);
    encoder->subtitle_header_size = decoder.subtitle_header_size;
  }
  return avcodec_open2(encoder.get(), &codec, nullptr) >= 0 ? std::move(encoder) : nullptr;
}

// The container's own format comes first.
CodecPtr chooseEncoder(const AVStream& from, const AVCodecContext& decoder,
                       const AVFormatContext& format) {
  const AVOutputFormat& container = *format.oformat;
  for (const AVCodecID each : {container.subtitle_codec, AV_CODEC_ID_MOV_TEXT, AV_CODEC_ID_SUBRIP,
                               AV_CODEC_ID_WEBVTT, AV_CODEC_ID_ASS}) {
    AVCodecParameters parameters = {};
    parameters.codec_type = AVMEDIA_TYPE_SUBTITLE;
    parameters.codec_id = each;
    const AVCodec* const codec = avcodec_find_encoder(each);
    if (codec == nullptr || !isText(each) || !supports(container, parameters)) continue;
    CodecPtr encoder = openEncoder(*codec, decoder, container);
    if (encoder != nullptr && acceptsHeaderWith(format, [&](AVFormatContext& copy) {
          addEncodedStream(from, *encoder, copy);
        }))
      return encoder;
  }
  return nullptr;
}

}  // namespace

std::unique_ptr<ConvertedSubtitles> ConvertedSubtitles::open(const AVStream& from,
                                                             AVFormatContext& format,
                                                             const Source& source,
                                                             PacketWriter writer) {
  CodecPtr decoder = openDecoder(from);
  if (decoder == nullptr) return nullptr;
  CodecPtr encoder = chooseEncoder(from, *decoder, format);
  if (encoder == nullptr) return nullptr;
  return std::unique_ptr<ConvertedSubtitles>(new ConvertedSubtitles(
      from, format, source, std::move(writer), std::move(decoder), std::move(encoder)));
}

ConvertedSubtitles::ConvertedSubtitles(const AVStream& from, AVFormatContext& format,
                                       const Source& source, PacketWriter writer, CodecPtr decoder,
                                       CodecPtr encoder)
    : name_(streamText(from)),
      timeBase_(from.time_base),
      source_(source),
      writer_(std::move(writer)),
      decoder_(std::move(decoder)),
      encoder_(std::move(encoder)),
      stream_(addEncodedStream(from, *encoder_, format)),
      text_(mostTextBytes) {}

void ConvertedSubtitles::add(const AVPacket& packet) {
  AVSubtitle cue = {};
  int isDecoded = 0;
  std::string damage;
  {
    const AvErrorScope errors;
    const PacketPtr copy = orThrow<PacketPtr>(av_packet_clone(&packet));
    const int result = avcodec_decode_subtitle2(decoder_.get(), &cue, &isDecoded, copy.get());
    damage = errors.first();
    if (result < 0 && damage.empty()) damage = avErrorReason(result);
  }
  const std::unique_ptr<AVSubtitle, void (*)(AVSubtitle*)> owner(&cue, avsubtitle_free);
  if (isDecoded != 0 && cue.num_rects > 0 && packet.pts != AV_NOPTS_VALUE) write(cue, packet);
  if (!damage.empty()) source_.damaged(name_ + ": " + damage);
}

void ConvertedSubtitles::write(AVSubtitle& cue, const AVPacket& from) {
  cue.pts = av_rescale_q(from.pts, timeBase_, av_get_time_base_q());
  cue.start_display_time = 0;  // the encoders require it
  const int size =
      avcodec_encode_subtitle(encoder_.get(), text_.data(), static_cast<int>(text_.size()), &cue);
  if (size < 0) {
    source_.damaged(name_ + ": cannot convert a subtitle: " + avErrorReason(size));
    return;
  }
  const PacketPtr packet = newPacket();
  if (av_new_packet(packet.get(), size) < 0) throw std::bad_alloc();
  std::memcpy(packet->data, text_.data(), static_cast<std::size_t>(size));
  packet->stream_index = stream_.index;
  packet->flags |= AV_PKT_FLAG_KEY;
  packet->pts = packet->dts = from.pts;
  packet->duration = std::max<std::int64_t>(from.duration, 0);
  av_packet_rescale_ts(packet.get(), timeBase_, stream_.time_base);
  writer_(*packet);
}

}  // namespace cmhost
