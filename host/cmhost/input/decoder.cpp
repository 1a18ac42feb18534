#include "host/cmhost/input/decoder.h"

#include "host/cmhost/support/av_log.h"
#include "host/cmhost/support/failure.h"

namespace cmhost {

void refuseDamage(AVCodecContext& decoder) {
  decoder.err_recognition = AV_EF_CRCCHECK;
  switch (decoder.codec_id) {
    case AV_CODEC_ID_FFV1:
    case AV_CODEC_ID_HEVC:
      decoder.err_recognition |= AV_EF_EXPLODE;
      break;
    case AV_CODEC_ID_MPEG4:
      // With a thread a frame, the mark may come after the frame; and it aborts when asked to fail.
      decoder.thread_type = FF_THREAD_SLICE;
      break;
    default:
      break;
  }
}

Decoder::Decoder(const std::string& input, const AVStream& video, MemoryLimits& memory) {
  const AVCodecParameters& parameters = *video.codecpar;
  const AVCodec* const codec = avcodec_find_decoder(parameters.codec_id);
  if (codec == nullptr)
    throw Failure(input + ": no decoder for video of the kind " +
                  avcodec_get_name(parameters.codec_id));
  context_ = orThrow<CodecPtr>(avcodec_alloc_context3(codec));
  int result = avcodec_parameters_to_context(context_.get(), &parameters);
  if (result >= 0) {
    context_->pkt_timebase = video.time_base;
    memory.limit(*context_);
    context_->flags |= AV_CODEC_FLAG_BITEXACT;
    refuseDamage(*context_);
    result = avcodec_open2(context_.get(), codec, nullptr);
  }
  if (result < 0)
    throw Failure(input + ": the decoder " + codec->name +
                  " cannot start: " + openErrorReason(result));
}

}  // namespace cmhost
