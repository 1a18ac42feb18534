#include "host/cmhost/output/streams/sound_codec.h"

#include <algorithm>
#include <cstdint>
#include <new>
#include <utility>
#include <vector>

#include "host/cmhost/output/streams/container_support.h"
#include "host/cmhost/output/streams/encoded_stream.h"

namespace cmhost {

namespace {

// Limit for one frame of sound, and with it for its memory.
constexpr std::int64_t mostSamples = std::int64_t{1} << 22;

constexpr AVChannelLayout stereo = AV_CHANNEL_LAYOUT_STEREO;
constexpr AVChannelLayout mono = AV_CHANNEL_LAYOUT_MONO;

struct Settings {
  const AVCodec* codec;
  int rate;
  AVChannelLayout layout;
};

std::vector<const AVCodec*> encodersFor(const AVOutputFormat& container) {
  std::vector<const AVCodec*> encoders;
  if (container.audio_codec == AV_CODEC_ID_NONE) return encoders;
  for (const AVCodecID codec :
       {container.audio_codec, AV_CODEC_ID_AAC, AV_CODEC_ID_OPUS, AV_CODEC_ID_VORBIS,
        AV_CODEC_ID_MP2, AV_CODEC_ID_AC3, AV_CODEC_ID_PCM_S16LE, AV_CODEC_ID_PCM_S16BE}) {
    const AVCodec* const encoder = avcodec_find_encoder(codec);
    if (encoder == nullptr || (encoder->capabilities & AV_CODEC_CAP_EXPERIMENTAL) != 0) continue;
    AVCodecParameters parameters = {};
    parameters.codec_type = AVMEDIA_TYPE_AUDIO;
    parameters.codec_id = codec;
    if (supports(container, parameters) &&
        std::find(encoders.begin(), encoders.end(), encoder) == encoders.end())
      encoders.push_back(encoder);
  }
  return encoders;
}

// The first sample format of the source's size or, if there is none, of another size.
AVSampleFormat chooseFormat(const AVCodec& codec, int wanted) {
  const AVSampleFormat* const formats = sampleFormatsOf(codec);
  const auto format = static_cast<AVSampleFormat>(wanted);
  if (formats == nullptr) return format != AV_SAMPLE_FMT_NONE ? format : AV_SAMPLE_FMT_S16;
  for (const AVSampleFormat* each = formats; *each != AV_SAMPLE_FMT_NONE; ++each)
    if (av_get_planar_sample_fmt(*each) == av_get_planar_sample_fmt(format)) return *each;
  return *formats;
}

// The same rate, or the next higher one, or the highest. Opus counts time at its highest rate.
int chooseRate(const AVCodec& codec, int wanted) {
  if (codec.id == AV_CODEC_ID_OPUS) return 48000;
  const int* rates = sampleRatesOf(codec);
  if (rates == nullptr) return wanted;
  int highest = 0;
  int nextHigher = 0;
  for (; *rates != 0; ++rates) {
    highest = std::max(highest, *rates);
    if (*rates >= wanted && (nextHigher == 0 || *rates < nextHigher)) nextHigher = *rates;
  }
  return nextHigher != 0 ? nextHigher : highest;
}

// The same channels, or as many, or the most that are fewer.
AVChannelLayout chooseLayout(const AVCodec& codec, const AVChannelLayout& wanted) {
  const AVChannelLayout* layouts = channelLayoutsOf(codec);
  if (layouts == nullptr) return wanted;
  AVChannelLayout chosen = {};
  for (; layouts->nb_channels != 0; ++layouts) {
    if (av_channel_layout_compare(layouts, &wanted) == 0) return wanted;
    if (layouts->nb_channels <= wanted.nb_channels && layouts->nb_channels > chosen.nb_channels)
      chosen = *layouts;
  }
  return chosen.nb_channels != 0 ? chosen : stereo;
}

// What the source has comes first. The rest is what containers and encoders with a narrow choice
// support, which they do not declare.
std::vector<Settings> settingsFor(const AVCodec& codec, const AVCodecParameters& sound) {
  AVChannelLayout usual = {};
  av_channel_layout_default(&usual, sound.ch_layout.nb_channels);
  std::vector<Settings> all;
  for (const AVChannelLayout& layout : {namedLayout(sound.ch_layout), usual, stereo, mono})
    for (const int rate : {sound.sample_rate, 48000, 44100}) {
      const Settings each = {&codec, chooseRate(codec, rate), chooseLayout(codec, layout)};
      const bool isKnown = std::any_of(all.begin(), all.end(), [&each](const Settings& other) {
        return other.rate == each.rate &&
               av_channel_layout_compare(&other.layout, &each.layout) == 0;
      });
      if (!isKnown) all.push_back(each);
    }
  return all;
}

// Bits per second for each channel; 0: the encoder's own choice, or none.
int bitsPerChannel(AVCodecID codec, int rate) {
  constexpr int leastRateOfMpeg1 = 32000;  // lower rates have a smaller table of bit rates
  switch (codec) {
    case AV_CODEC_ID_AAC:
    case AV_CODEC_ID_OPUS:
    case AV_CODEC_ID_WMAV2:
      return 128000;
    case AV_CODEC_ID_MP2:
      return rate < leastRateOfMpeg1 ? 80000 : 192000;
    case AV_CODEC_ID_MP3:
      return rate < leastRateOfMpeg1 ? 80000 : 160000;
    case AV_CODEC_ID_AC3:
    case AV_CODEC_ID_EAC3:
      return 160000;
    default:
      return 0;
  }
}

void setRate(AVCodecContext& encoder) {
  constexpr std::int64_t mostBits = 640000;  // of AC-3
  constexpr int vorbisQuality = 7;           // of 10
  encoder.bit_rate = std::min<std::int64_t>(
      mostBits, std::int64_t{bitsPerChannel(encoder.codec_id, encoder.sample_rate)} *
                    encoder.ch_layout.nb_channels);
  if (encoder.codec_id != AV_CODEC_ID_VORBIS) return;
  encoder.flags |= AV_CODEC_FLAG_QSCALE;
  encoder.global_quality = vorbisQuality * FF_QP2LAMBDA;
}

CodecPtr open(const Settings& settings, int format, const AVOutputFormat& container) {
  CodecPtr encoder = orThrow<CodecPtr>(avcodec_alloc_context3(settings.codec));
  encoder->sample_fmt = chooseFormat(*settings.codec, format);
  encoder->sample_rate = settings.rate;
  if (av_channel_layout_copy(&encoder->ch_layout, &settings.layout) < 0) throw std::bad_alloc();
  encoder->time_base = {1, settings.rate};
  encoder->thread_count = 1;
  encoder->flags |= AV_CODEC_FLAG_BITEXACT;  // equal runs write equal bytes
  if ((container.flags & AVFMT_GLOBALHEADER) != 0) encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  setRate(*encoder);
  return avcodec_open2(encoder.get(), settings.codec, nullptr) >= 0 ? std::move(encoder) : nullptr;
}

}  // namespace

CodecPtr openSoundEncoder(const AVStream& from, const AVFormatContext& format) {
  const AVCodecParameters& sound = *from.codecpar;
  if (!isUsualRate(sound.sample_rate) || sound.ch_layout.nb_channels <= 0) return nullptr;
  for (const AVCodec* const codec : encodersFor(*format.oformat))
    for (const Settings& settings : settingsFor(*codec, sound)) {
      CodecPtr encoder = open(settings, sound.format, *format.oformat);
      if (encoder == nullptr) continue;
      const bool isAccepted = acceptsHeaderWith(
          format, [&](AVFormatContext& copy) { addEncodedStream(from, *encoder, copy); });
      if (isAccepted) return encoder;
    }
  return nullptr;
}

CodecPtr openSoundDecoder(const AVStream& sound) {
  const AVCodec* const codec = avcodec_find_decoder(sound.codecpar->codec_id);
  if (codec == nullptr) return nullptr;
  CodecPtr decoder = orThrow<CodecPtr>(avcodec_alloc_context3(codec));
  if (avcodec_parameters_to_context(decoder.get(), sound.codecpar) < 0) throw std::bad_alloc();
  decoder->pkt_timebase = sound.time_base;
  decoder->thread_count = 1;
  decoder->flags |= AV_CODEC_FLAG_BITEXACT;
  decoder->err_recognition = AV_EF_CRCCHECK;
  decoder->max_samples = mostSamples;
  return avcodec_open2(decoder.get(), codec, nullptr) >= 0 ? std::move(decoder) : nullptr;
}

AVChannelLayout namedLayout(const AVChannelLayout& layout) {
  if (layout.order == AV_CHANNEL_ORDER_NATIVE) return layout;
  AVChannelLayout usual = {};
  av_channel_layout_default(&usual, layout.nb_channels);
  return usual;
}

bool isUsualRate(int rate) {
  constexpr int lowest = 1000;
  constexpr int highest = 768000;
  return rate >= lowest && rate <= highest;
}

std::string soundText(const AVCodecContext& encoder) {
  char channels[64] = "";
  av_channel_layout_describe(&encoder.ch_layout, channels, sizeof channels);
  std::string text = std::string(avcodec_get_name(encoder.codec_id)) + ", " +
                     std::to_string(encoder.sample_rate) + " Hz, " + channels;
  if (encoder.bit_rate > 0) text += ", " + std::to_string(encoder.bit_rate / 1000) + " kb/s";
  return text;
}

}  // namespace cmhost
