#include "host/cmhost/output/encoder.h"

extern "C" {
#include <libavutil/avstring.h>
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <cstring>
#include <utility>

#include "host/cmhost/output/encoder_choice.h"
#include "host/cmhost/output/encoder_defaults.h"
#include "host/cmhost/output/frame_rate.h"
#include "host/cmhost/output/still_pictures.h"
#include "host/cmhost/support/av_log.h"
#include "host/cmhost/support/dictionary.h"
#include "host/cmhost/support/failure.h"
#include "host/cmhost/support/messages.h"
#include "host/cmhost/support/threads.h"

namespace cmhost {

namespace {

bool isInterlaced(AVFieldOrder order) {
  return order != AV_FIELD_UNKNOWN && order != AV_FIELD_PROGRESSIVE;
}

// Codecs whose streams store times in units of one frame.
bool storesTimes(AVCodecID codec) {
  return codec == AV_CODEC_ID_MPEG1VIDEO || codec == AV_CODEC_ID_MPEG2VIDEO ||
         codec == AV_CODEC_ID_MPEG4 || codec == AV_CODEC_ID_MSMPEG4V3 ||
         codec == AV_CODEC_ID_H263 || codec == AV_CODEC_ID_DNXHD;
}

// The QuickTime family supports variable frame rates, though its muxers do not declare it.
bool keepsAnyTime(const AVOutputFormat& container) {
  return (container.flags & AVFMT_VARIABLE_FPS) != 0 ||
         av_match_name(container.name, "mov,mp4,3gp,3g2,ipod,psp,ismv,f4v") != 0;
}

// A still JPEG has the quality of ffmpeg's -q 2, whatever its size. A bit rate does not fit it.
void setPictureQuality(const Options& options, Dictionary& dictionary) {
  const bool isStill = isStillOutput(options.output, options.outputFormat);
  if (!isStill || stillCodec(options.output) != AV_CODEC_ID_MJPEG || !options.encoder.empty() ||
      options.crf || options.bitrate > 0 || !options.encoderOptions.empty())
    return;
  dictionary.set("flags", "+qscale");
  dictionary.set("global_quality", std::to_string(2 * FF_QP2LAMBDA).c_str());
}

}  // namespace

Encoder::Encoder(const Options& options, const Source& source, const AVFrame& first,
                 const PictureLayout& layout, Muxer& muxer)
    : muxer_(muxer),
      inputTimeBase_(source.video.time_base),
      quiet_(options.quiet),
      packet_(newPacket()) {
  codec_ = &chooseEncoder(options, muxer.container(), source.video.codecpar->codec_id);
  Dictionary dictionary;
  setEncoderOptions(*codec_, options, std::min(first.width, first.height), dictionary);
  setPictureQuality(options, dictionary);
  encoder_ = orThrow<CodecPtr>(avcodec_alloc_context3(codec_));
  input_.emplace(*codec_, layout, first, !dictionary.value("strict").empty());
  input_->describe(*encoder_);
  encoder_->thread_count = threadsFor(
      av_image_get_buffer_size(encoder_->pix_fmt, first.width, first.height, 1), options.threads);
  describe(source, chooseRate(options, source), first);
  open(dictionary);
  muxer_.addVideo(*encoder_, timeBase_, source);
}

AVRational Encoder::chooseRate(const Options& options, const Source& source) {
  const auto rate =
      rateToConvertTo(options, *codec_, muxer_.container(), encoder_->height, source.frameRate);
  if (!rate) return source.frameRate;
  constantRate_.emplace(inputTimeBase_, source.frameRate, *rate,
                        [this](FramePtr frame) { encodeOne(std::move(frame)); });
  inputTimeBase_ = av_inv_q(*rate);
  return *rate;
}

// Many encoders compute the bits of a frame from the length of a tick, so that a tick must be one
// frame. Where the times of frames may be any, the encoder counts frames, and its packets receive
// the exact times afterwards.
void Encoder::chooseTimeBases(AVRational frameRate) {
  timeBase_ = encoder_->time_base = inputTimeBase_;
  if (frameRate.num <= 0) return;
  encoder_->time_base = av_inv_q(frameRate);
  countsFrames_ = keepsAnyTime(muxer_.container()) && !storesTimes(codec_->id);
  if (!countsFrames_) timeBase_ = encoder_->time_base;
}

void Encoder::describe(const Source& source, AVRational rate, const AVFrame& first) {
  encoder_->framerate = rate;
  chooseTimeBases(rate);
  encoder_->sample_aspect_ratio = first.sample_aspect_ratio;
  encoder_->field_order = source.fieldOrder;
  // From the frame, because some containers declare the coded field order, not the display order.
  if (isInterlacedFrame(first))
    encoder_->field_order = isTopFieldFirst(first) ? AV_FIELD_TT : AV_FIELD_BB;
  if (isInterlaced(encoder_->field_order))
    encoder_->flags |= AV_CODEC_FLAG_INTERLACED_DCT | AV_CODEC_FLAG_INTERLACED_ME;
  encoder_->flags |= AV_CODEC_FLAG_BITEXACT;
  if ((muxer_.container().flags & AVFMT_GLOBALHEADER) != 0)
    encoder_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
}

void Encoder::open(Dictionary& dictionary) {
  const int result = avcodec_open2(encoder_.get(), codec_, dictionary.entries());
  if (result < 0)
    throw Failure(std::string("cannot open the encoder ") + codec_->name + ": " +
                  openErrorReason(result));
  if (const AVDictionaryEntry* const unknown = dictionary.first())
    throw Failure(std::string("--encoder-option: the encoder ") + codec_->name +
                      " has no option '" + unknown->key + "'",
                  exitUsage);
}

void Encoder::encode(FramePtr frame) {
  frame = input_->convert(std::move(frame));
  if (constantRate_)
    constantRate_->add(std::move(frame));
  else
    encodeOne(std::move(frame));
}

void Encoder::encodeOne(FramePtr frame) {
  frame->pict_type = AV_PICTURE_TYPE_NONE;  // let the encoder choose, whatever the decoder set
  const FrameTimes::Time time = timeOf(*frame);
  frame->pts = countsFrames_ ? frameCount_ : time.pts;
  setDuration(*frame, countsFrames_ && time.duration > 0 ? 1 : time.duration);
  times_.add(frame->pts, time);
  ++frameCount_;
  send(frame.get());
}

// In the time base of the packets.
FrameTimes::Time Encoder::timeOf(const AVFrame& frame) {
  FrameTimes::Time time;
  time.pts = av_rescale_q(frame.pts, inputTimeBase_, timeBase_);
  bool kept = av_compare_ts(frame.pts, inputTimeBase_, time.pts, timeBase_) == 0;
  if (frameCount_ > 0 && time.pts <= lastPts_) {
    time.pts = lastPts_ + 1;
    kept = false;
  }
  if (!kept && frameCount_ > 0 && !warnedOfTimes_) {
    warnedOfTimes_ = true;
    printWarning("time stamps are rounded to the output's frame rate, starting at " +
                 secondsText(static_cast<double>(frame.pts) * av_q2d(inputTimeBase_)));
  }
  lastPts_ = time.pts;
  time.duration = av_rescale_q(durationOf(frame), inputTimeBase_, timeBase_);
  return time;
}

void Encoder::finish() {
  if (constantRate_) constantRate_->finish();
  send(nullptr);
  if (const std::int64_t dropped = times_.finish(); dropped > 0)
    printWarning(std::string("the encoder ") + codec_->name + " dropped " +
                 std::to_string(dropped) + " of " + std::to_string(frameCount_) +
                 " frames; a higher bit rate or quality may keep them");
  if (constantRate_ && !quiet_)
    printNote("frame rate: repeated " + framesText(constantRate_->repeated()) + ", dropped " +
              framesText(constantRate_->dropped()));
}

void Encoder::send(const AVFrame* frame) {
  int result = avcodec_send_frame(encoder_.get(), frame);
  while (result >= 0) {
    result = avcodec_receive_packet(encoder_.get(), packet_.get());
    if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return;
    if (result < 0) break;
    times_.apply(*packet_, encoder_->time_base, timeBase_);
    muxer_.writeVideo(*packet_, timeBase_);
  }
  throw Failure(std::string("the encoder ") + codec_->name + " failed: " + avErrorReason(result));
}

}  // namespace cmhost
