#include "host/cmhost/input.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "host/cmhost/failure.h"
#include "host/cmhost/messages.h"

namespace cmhost {

namespace {

// Other streams may start before the first picture; a file that goes on like that has none.
constexpr std::size_t maxWaitingBytes = std::size_t{64} << 20;

bool isPicture(const AVStream& stream) {
  return stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO &&
         (stream.disposition & AV_DISPOSITION_ATTACHED_PIC) == 0;
}

// A damaged picture must not pass for a good one. Some decoders then return an error when asked to,
// the others mark the frame.
void refuseDamage(AVCodecContext& decoder) {
  decoder.err_recognition = AV_EF_CRCCHECK;
  switch (decoder.codec_id) {
    case AV_CODEC_ID_FFV1:
    case AV_CODEC_ID_H264:
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

}  // namespace

Input::Input(const std::string& path) : path_(path), file_(path), packet_(newPacket()) {
  openFormat();
  openDecoder();
}

void Input::openFormat() {
  AVFormatContext* format = avformat_alloc_context();
  if (format == nullptr) throw std::bad_alloc();
  format->pb = file_.io();
  int result = avformat_open_input(&format, path_.c_str(), nullptr, nullptr);
  if (result >= 0) {
    format_.reset(format);
    takeDemuxerDamage();  // what a header lacks, opening has made up for
    result = avformat_find_stream_info(format, nullptr);
  }
  if (result < 0) {
    checkLength();
    throw Failure(path_ + " is not a video file: " + avErrorReason(result));
  }
  const int best = av_find_best_stream(format, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
  if (best < 0 || !isPicture(*format->streams[best])) {
    checkLength();
    throw Failure(path_ + " has no video stream; a filter needs one");
  }
  video_ = format->streams[best];
}

void Input::openDecoder() {
  const AVCodecParameters& parameters = *video_->codecpar;
  const AVCodec* const codec = avcodec_find_decoder(parameters.codec_id);
  if (codec == nullptr)
    throw Failure(path_ + ": no decoder for video of the kind " +
                  avcodec_get_name(parameters.codec_id));
  decoder_ = orThrow<CodecPtr>(avcodec_alloc_context3(codec));
  int result = avcodec_parameters_to_context(decoder_.get(), &parameters);
  if (result >= 0) {
    decoder_->pkt_timebase = video_->time_base;
    decoder_->thread_count = 0;
    decoder_->flags |= AV_CODEC_FLAG_BITEXACT;
    refuseDamage(*decoder_);
    takeDecoderDamage();  // of the decoders that looked at the start
    result = avcodec_open2(decoder_.get(), codec, nullptr);
  }
  if (result < 0)
    throw Failure(path_ + ": the decoder " + codec->name +
                  " cannot start: " + avErrorReason(result));
}

FramePtr Input::nextFrame() {
  FramePtr frame = newFrame();
  for (;;) {
    const int result = avcodec_receive_frame(decoder_.get(), frame.get());
    if (const std::string damage = takeDemuxerDamage(); !damage.empty()) failDamaged(damage);
    if (const std::string damage = takeDecoderDamage(); !damage.empty()) skipOrFail(damage);
    if (result == AVERROR_EOF) {
      checkComplete();
      return nullptr;
    }
    if (result == AVERROR(EAGAIN)) {
      feedDecoder();
    } else if (result < 0) {
      skipOrFail(avErrorReason(result));
    } else if (frame->decode_error_flags != 0 || (frame->flags & AV_FRAME_FLAG_CORRUPT) != 0) {
      skipOrFail("a picture is incomplete");
    } else {
      finishFrame(*frame);
      return frame;
    }
  }
}

void Input::feedDecoder() {
  for (;;) {
    const int result = av_read_frame(format_.get(), packet_.get());
    if (result == AVERROR_EOF) {
      if (file_.io()->error < 0) failDamaged(avErrorReason(file_.io()->error));
      avcodec_send_packet(decoder_.get(), nullptr);
      return;
    }
    if (result < 0) failDamaged(avErrorReason(result));
    packetsEnd_ = std::max(packetsEnd_, packet_->pos + packet_->size);
    if (packet_->stream_index == video_->index) break;
    passOn(*packet_);
    av_packet_unref(packet_.get());
  }
  if ((packet_->flags & AV_PKT_FLAG_CORRUPT) != 0) skipOrFail("a packet is incomplete");
  const int result = avcodec_send_packet(decoder_.get(), packet_.get());
  av_packet_unref(packet_.get());
  if (result < 0) skipOrFail(avErrorReason(result));
}

// A recording of a broadcast starts anywhere; what comes before its first whole picture refers to
// what was sent earlier.
void Input::skipOrFail(const std::string& what) {
  const bool startsAnywhere = (format_->iformat->flags & AVFMT_TS_DISCONT) != 0;
  if (!startsAnywhere || decodedFrames_ > 0) failDamaged(what);
  startSkipped_ = true;
}

void Input::passOn(AVPacket& packet) {
  if (sink_) {
    sink_(packet);
    return;
  }
  waitingBytes_ += static_cast<std::size_t>(packet.size);
  if (waitingBytes_ > maxWaitingBytes)
    throw Failure(path_ + ": no picture in a long stretch of other data; is it a video file?");
  waiting_.push_back(orThrow<PacketPtr>(av_packet_clone(&packet)));
}

void Input::sendOtherPacketsTo(PacketSink sink) {
  sink_ = std::move(sink);
  for (const PacketPtr& packet : std::exchange(waiting_, {})) sink_(*packet);
}

void Input::finishFrame(AVFrame& frame) {
  frame.pts =
      frame.best_effort_timestamp != AV_NOPTS_VALUE ? frame.best_effort_timestamp : nextPts_;
  std::int64_t duration = frame.pkt_duration;
  if (duration <= 0 && frameRate().num > 0)
    duration = av_rescale_q(1, av_inv_q(frameRate()), video_->time_base);
  nextPts_ = frame.pts + std::max<std::int64_t>(duration, 1);
  lastFrameSeconds_ = static_cast<double>(frame.pts) * av_q2d(video_->time_base);
  if (decodedFrames_++ == 0 && startSkipped_)
    printWarning(path_ + ": what lies before the first whole picture, at " +
                 secondsText(lastFrameSeconds_) + ", is left out");
}

void Input::checkLength() const {
  const std::int64_t declared = file_.declaredSize();
  if (declared > file_.size())
    failDamaged("it should have at least " + std::to_string(declared) + " bytes but has " +
                std::to_string(file_.size()));
}

// A file that was cut may end without an error.
void Input::checkComplete() const {
  checkLength();
  const bool isY4m = std::strcmp(format_->iformat->name, "yuv4mpegpipe") == 0;
  if (isY4m && file_.size() > packetsEnd_) failDamaged("its last picture is incomplete");
  if (decodedFrames_ == 0) failDamaged("it holds no picture that can be decoded");
}

void Input::failDamaged(const std::string& what) const {
  std::string message = path_ + " is damaged or cut short: " + what + "; ";
  if (decodedFrames_ == 0)
    message += "nothing could be decoded";
  else
    message += frameCount(decodedFrames_) + " could be decoded, the last at " +
               secondsText(lastFrameSeconds_);
  throw Failure(message);
}

AVRational Input::frameRate() const { return av_guess_frame_rate(format_.get(), video_, nullptr); }

std::int64_t Input::expectedFrames() const {
  if (video_->nb_frames > 0) return video_->nb_frames;
  const AVRational rate = frameRate();
  if (rate.num <= 0 || format_->duration <= 0) return 0;
  return av_rescale_q(format_->duration, AVRational{1, AV_TIME_BASE}, av_inv_q(rate));
}

}  // namespace cmhost
