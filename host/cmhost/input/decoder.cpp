#include "host/cmhost/input/decoder.h"

#include "host/cmhost/support/av_log.h"
#include "host/cmhost/support/failure.h"

namespace cmhost {

namespace {

void reportDamage(AVCodecContext& decoder) {
  decoder.err_recognition = AV_EF_CRCCHECK;
  // With frame threads, a frame may be flagged after it was returned; with AV_EF_EXPLODE this
  // decoder aborts.
  if (decoder.codec_id == AV_CODEC_ID_MPEG4) decoder.thread_type = FF_THREAD_SLICE;
}

}  // namespace

void refuseDamage(AVCodecContext& decoder) {
  reportDamage(decoder);
  if (decoder.codec_id == AV_CODEC_ID_FFV1 || decoder.codec_id == AV_CODEC_ID_HEVC)
    decoder.err_recognition |= AV_EF_EXPLODE;
}

Decoder::Decoder(const std::string& input, const AVStream& video, MemoryLimits& memory,
                 Damage damage, int threads) {
  const AVCodecParameters& parameters = *video.codecpar;
  const AVCodec* const codec = avcodec_find_decoder(parameters.codec_id);
  if (codec == nullptr)
    throw Failure(input + ": no decoder for codec " + avcodec_get_name(parameters.codec_id));
  context_ = orThrow<CodecPtr>(avcodec_alloc_context3(codec));
  int result = avcodec_parameters_to_context(context_.get(), &parameters);
  if (result >= 0) {
    context_->pkt_timebase = video.time_base;
    memory.limit(*context_, threads);
    context_->flags |= AV_CODEC_FLAG_BITEXACT;
    if (damage == Damage::refused)
      refuseDamage(*context_);
    else
      reportDamage(*context_);
    result = avcodec_open2(context_.get(), codec, nullptr);
  }
  if (result < 0)
    throw Failure(input + ": cannot open decoder " + codec->name + ": " + openErrorReason(result));
}

}  // namespace cmhost
