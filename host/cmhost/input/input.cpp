#include "host/cmhost/input/input.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <utility>

#include "host/cmhost/input/demuxer.h"
#include "host/cmhost/support/failure.h"
#include "host/cmhost/support/interruption.h"
#include "host/cmhost/support/messages.h"

namespace cmhost {

namespace {

// Other streams may start before the first picture; a file that goes on like that has none.
constexpr std::size_t maxWaitingBytes = std::size_t{64} << 20;

bool isPicture(const AVStream& stream) {
  return stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO &&
         (stream.disposition & AV_DISPOSITION_ATTACHED_PIC) == 0;
}

std::string incompletePacket(const AVPacket& packet) {
  return "a packet of stream " + std::to_string(packet.stream_index) + " is incomplete";
}

}  // namespace

Input::Input(const Options& options)
    : file_(options.input),
      references_(file_.name(), options.references),
      memory_(file_.name(), options.maxPixels),
      integrity_(file_),
      packet_(newPacket()),
      mostFrames_(options.frames) {
  openFormat(options);
  openDecoder();
  if (const std::string damage = integrity_.reported(); !damage.empty()) skipOrFail(damage);
  if (options.start > 0) seekToStart(options.start);
  file_.keepEnd();
}

void Input::openFormat(const Options& options) {
  const Integrity::Reading reading(integrity_);
  int result = 0;
  format_ = openDemuxer(file_, references_, options, result);
  if (format_ != nullptr) result = memory_.findStreams(*format_);
  if (interruption::received() != 0) throw interruption::Interrupted();
  references_.checkOpened();
  if (result < 0) {
    failIf(integrity_.missingBytes());
    throw Failure(name() + " is not a video file: " + references_.withHint(avErrorReason(result)));
  }
  chooseVideo();
}

void Input::chooseVideo() {
  const int best = av_find_best_stream(format_.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
  if (best < 0 || !isPicture(*format_->streams[best])) {
    failIf(integrity_.missingBytes());
    throw Failure(name() + " has no video stream; a filter needs one");
  }
  video_ = format_->streams[best];
  memory_.check(video_->codecpar->width, video_->codecpar->height);
}

void Input::openDecoder() {
  const AVCodecParameters& parameters = *video_->codecpar;
  const AVCodec* const codec = avcodec_find_decoder(parameters.codec_id);
  if (codec == nullptr)
    throw Failure(name() + ": no decoder for video of the kind " +
                  avcodec_get_name(parameters.codec_id));
  decoder_ = orThrow<CodecPtr>(avcodec_alloc_context3(codec));
  int result = avcodec_parameters_to_context(decoder_.get(), &parameters);
  if (result >= 0) {
    decoder_->pkt_timebase = video_->time_base;
    memory_.limit(*decoder_);
    decoder_->flags |= AV_CODEC_FLAG_BITEXACT;
    refuseDamage(*decoder_);
    awaitsKeyFrame_ = startsAnywhere() && parameters.codec_id == AV_CODEC_ID_HEVC;
    integrity_.begin(*format_, *video_);
    result = avcodec_open2(decoder_.get(), codec, nullptr);
  }
  if (result < 0)
    throw Failure(name() + ": the decoder " + codec->name +
                  " cannot start: " + openErrorReason(result));
}

// Only containers that find a key frame exactly are asked to; of others, and of pipes, what comes
// before the part is decoded and dropped.
void Input::seekToStart(double seconds) {
  startsLater_ = true;
  start_ = static_cast<std::int64_t>(std::llround(seconds * AV_TIME_BASE));
  if (format_->start_time != AV_NOPTS_VALUE) start_ += format_->start_time;
  if (!file_.seekable() || (format_->iformat->flags & AVFMT_TS_DISCONT) != 0) return;
  const std::int64_t target = av_rescale_q(start_, av_get_time_base_q(), video_->time_base);
  av_seek_frame(format_.get(), video_->index, target, AVSEEK_FLAG_BACKWARD);
  integrity_.reported();  // a container that cannot be searched is read from its beginning
}

FramePtr Input::nextFrame() {
  if (mostFrames_ > 0 && decodedFrames_ == mostFrames_) {
    passOnRest();
    return nullptr;
  }
  for (;;) {
    FramePtr frame = decodeFrame();
    if (frame == nullptr) return nullptr;
    finishFrame(*frame);
    if (isBeforeStart(frame->pts, video_->time_base)) continue;
    if (decodedFrames_++ == 0) beginAt(frame->pts);
    frame->pts -= shift_;
    return frame;
  }
}

FramePtr Input::decodeFrame() {
  FramePtr frame = newFrame();
  for (;;) {
    if (interruption::received() != 0) stopReading();
    const int result = avcodec_receive_frame(decoder_.get(), frame.get());
    if (result == AVERROR_EOF && stopped_) return nullptr;
    if (const std::string damage = integrity_.reported(); !damage.empty()) skipOrFail(damage);
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
      memory_.check(frame->width, frame->height);
      integrity_.addPicture(*frame);
      return frame;
    }
  }
}

void Input::stopReading() {
  if (stopped_) return;
  stopped_ = true;
  avcodec_send_packet(decoder_.get(), nullptr);
}

// The decoder may find damage in any packet that it still holds when it is given the next, or none.
void Input::sendToDecoder(const AVPacket* packet) {
  const int result = avcodec_send_packet(decoder_.get(), packet);
  if (result < 0 && result != AVERROR_EOF) skipOrFail(avErrorReason(result));
}

// In a recording that starts anywhere, the decoder of HEVC would invent what the pictures before
// the first key frame refer to.
bool Input::isBeforeKeyFrame() {
  if (!awaitsKeyFrame_) return false;
  awaitsKeyFrame_ = (packet_->flags & AV_PKT_FLAG_KEY) == 0;
  if (awaitsKeyFrame_) startSkipped_ = !startsLater_;
  return awaitsKeyFrame_;
}

// The decoder of MPEG video passes over what comes before the head of a sequence without a word.
void Input::noteFirstPacket() {
  static constexpr std::uint8_t startCode[] = {0, 0, 1};
  constexpr std::uint8_t sequence = 0xB3;
  if (!std::exchange(atFirstPacket_, false)) return;
  const AVCodecID codec = video_->codecpar->codec_id;
  if (codec != AV_CODEC_ID_MPEG1VIDEO && codec != AV_CODEC_ID_MPEG2VIDEO) return;
  const std::uint8_t* const begin = packet_->data;
  const std::uint8_t* const end = begin + packet_->size;
  const std::uint8_t* const code =
      std::search(begin, end, std::begin(startCode), std::end(startCode));
  beginsWithSequence_ = end - code > 3 && code[3] == sequence;
  if (!beginsWithSequence_ && startsAnywhere()) startSkipped_ = !startsLater_;
}

void Input::feedDecoder() {
  for (;;) {
    const int result = integrity_.readPacket(*format_, *packet_);
    if (interruption::received() != 0) {  // the packet may be cut
      av_packet_unref(packet_.get());
      stopReading();
      return;
    }
    references_.checkOpened();
    const bool endsWhileGrowing = file_.endsWhileGrowing();
    if (result == AVERROR_EOF || (result < 0 && endsWhileGrowing)) {
      if (file_.io()->error < 0) failDamaged(avErrorReason(file_.io()->error));
      sendToDecoder(nullptr);
      return;
    }
    if (result < 0) failDamaged(references_.withHint(avErrorReason(result)));
    if (endsWhileGrowing && isLeftOut()) {
      av_packet_unref(packet_.get());
      continue;
    }
    const bool isVideo = packet_->stream_index == video_->index;
    if (isVideo) noteFirstPacket();
    const bool whole = (packet_->flags & AV_PKT_FLAG_CORRUPT) == 0;
    if (!whole) skipOrFail(incompletePacket(*packet_));
    if (isVideo && !isBeforeKeyFrame()) break;
    if (whole && !isVideo) passOn(*packet_);
    av_packet_unref(packet_.get());
  }
  sendToDecoder(packet_.get());
  av_packet_unref(packet_.get());
}

// The last packet of a stream may be cut where the file grows; one before it may not.
bool Input::isLeftOut() {
  const int stream = packet_->stream_index;
  if (leftOut_.count(stream) != 0) failDamaged(incompletePacket(*packet_));
  const bool isVideo = stream == video_->index;
  const bool isWhole =
      (packet_->flags & AV_PKT_FLAG_CORRUPT) == 0 && (!isVideo || integrity_.lastPacketIsWhole());
  if (isWhole) return false;
  if (isVideo) integrity_.leaveOutLastPacket();
  leftOut_.insert(stream);
  return true;
}

// A recording of a broadcast starts anywhere, and so may a part; what comes before its first whole
// picture refers to what was sent earlier. Ogg always begins with heads and a key frame. So does an
// MPEG program stream, unless it is a later part of one that was split, as on a DVD.
bool Input::startsAnywhere() const {
  const AVInputFormat& container = *format_->iformat;
  if (std::strcmp(container.name, "ogg") == 0) return false;
  if (std::strcmp(container.name, "mpeg") == 0 && beginsWithSequence_) return false;
  return (container.flags & AVFMT_TS_DISCONT) != 0;
}

void Input::skipOrFail(const std::string& what) {
  if (stopped_) return;
  memory_.check(what);
  if (!(startsAnywhere() || startsLater_) || decodedFrames_ > 0) failDamaged(what);
  startSkipped_ = startsAnywhere() && !startsLater_;
}

bool Input::isBeforeStart(std::int64_t time, AVRational timeBase) const {
  return startsLater_ && time != AV_NOPTS_VALUE &&
         av_compare_ts(time, timeBase, start_, av_get_time_base_q()) < 0;
}

void Input::passOn(AVPacket& packet) {
  if (!sink_) {
    waitingBytes_ += static_cast<std::size_t>(packet.size);
    if (waitingBytes_ > maxWaitingBytes)
      throw Failure(name() + ": no picture in a long stretch of other data; is it a video file?");
    waiting_.push_back(orThrow<PacketPtr>(av_packet_clone(&packet)));
    return;
  }
  const AVRational timeBase = format_->streams[packet.stream_index]->time_base;
  if (isBeforeStart(packet.pts != AV_NOPTS_VALUE ? packet.pts : packet.dts, timeBase)) return;
  const std::int64_t shift = av_rescale_q(shift_, video_->time_base, timeBase);
  if (packet.pts != AV_NOPTS_VALUE) packet.pts -= shift;
  if (packet.dts != AV_NOPTS_VALUE) packet.dts -= shift;
  sink_(packet);
}

void Input::sendOtherPacketsTo(PacketSink sink) {
  sink_ = std::move(sink);
  for (const PacketPtr& packet : std::exchange(waiting_, {})) passOn(*packet);
}

// Containers put the sound of a moment up to a second behind its picture.
void Input::passOnRest() {
  if (format_->nb_streams == 1) return;
  const std::int64_t behind = av_rescale_q(1, AVRational{1, 1}, video_->time_base);
  while (!stopped_) {
    const int result = integrity_.readPacket(*format_, *packet_);
    stopped_ = interruption::received() != 0;
    references_.checkOpened();
    const bool endsWhileGrowing = file_.endsWhileGrowing();
    if (result < 0) {
      if (result != AVERROR_EOF && !stopped_ && !endsWhileGrowing)
        failDamaged(avErrorReason(result));
      return;
    }
    const bool isVideo = packet_->stream_index == video_->index;
    const bool isBehind =
        isVideo && packet_->dts != AV_NOPTS_VALUE && packet_->dts > nextPts_ + behind;
    const bool isCut = (packet_->flags & AV_PKT_FLAG_CORRUPT) != 0;
    if (!isVideo && !stopped_ && isCut && !endsWhileGrowing)
      failDamaged(incompletePacket(*packet_));
    const AVRational timeBase = format_->streams[packet_->stream_index]->time_base;
    if (!isVideo && !stopped_ && !isCut && packet_->pts != AV_NOPTS_VALUE &&
        av_compare_ts(packet_->pts, timeBase, nextPts_, video_->time_base) < 0)
      passOn(*packet_);
    av_packet_unref(packet_.get());
    if (isBehind) return;
  }
}

void Input::finishFrame(AVFrame& frame) {
  frame.pts =
      frame.best_effort_timestamp != AV_NOPTS_VALUE ? frame.best_effort_timestamp : nextPts_;
  std::int64_t duration = durationOf(frame);
  if (duration <= 0 && frameRate().num > 0)
    duration = av_rescale_q(1, av_inv_q(frameRate()), video_->time_base);
  nextPts_ = frame.pts + std::max<std::int64_t>(duration, 1);
  lastFrameSeconds_ = static_cast<double>(frame.pts) * av_q2d(video_->time_base);
}

// Time in the output counts from the part's first frame on, as it does in the file from its own.
void Input::beginAt(std::int64_t pts) {
  if (startsLater_) {
    shift_ = pts;
    if (video_->start_time != AV_NOPTS_VALUE) shift_ -= video_->start_time;
  }
  if (startSkipped_)
    printWarning(name() + ": what lies before the first whole picture, at " +
                 secondsText(lastFrameSeconds_) + ", is left out");
}

// A file that was cut may end without an error.
void Input::checkComplete() const {
  failIf(integrity_.missing(!startsLater_));
  if (const std::int64_t left = integrity_.picturesBeforeFirst();
      left > 0 && !startsLater_ && !startSkipped_)
    printWarning(name() + ": " + frameCount(left) +
                 " before the first whole picture cannot be decoded and is left out");
  if (integrity_.hasOpenEnd())
    printWarning(name() +
                 " was not finished, or was written to a pipe: whether its end is missing " +
                 "cannot be told");
  if (file_.hasGrown())
    printWarning(name() + " has grown while it was read; the first " +
                 std::to_string(file_.size()) + " bytes of it were taken");
  if (decodedFrames_ > 0) return;
  if (startsLater_ && nextPts_ > 0)
    throw Failure(name() + " ends before --start: its last frame is at " +
                  secondsText(lastFrameSeconds_));
  failDamaged("it holds no picture that can be decoded");
}

void Input::failIf(const std::string& damage) const {
  if (!damage.empty()) failDamaged(damage);
}

void Input::failDamaged(const std::string& what) const {
  std::string message = name() + " is damaged or cut short: " + what + "; ";
  if (decodedFrames_ == 0)
    message += "nothing could be decoded";
  else
    message += frameCount(decodedFrames_) + " could be decoded, the last at " +
               secondsText(lastFrameSeconds_);
  throw Failure(message);
}

AVRational Input::frameRate() const { return av_guess_frame_rate(format_.get(), video_, nullptr); }

std::int64_t Input::expectedFrames() const {
  const AVRational rate = frameRate();
  const bool hasLength = rate.num > 0 && format_->duration > 0;
  std::int64_t frames = video_->nb_frames;
  if (frames <= 0 && hasLength)
    frames = av_rescale_q(format_->duration, av_get_time_base_q(), av_inv_q(rate));
  if (startsLater_ && rate.num > 0) {
    const std::int64_t begin = format_->start_time != AV_NOPTS_VALUE ? format_->start_time : 0;
    frames -= std::min(frames, av_rescale_q(start_ - begin, av_get_time_base_q(), av_inv_q(rate)));
  }
  if (mostFrames_ > 0) frames = frames > 0 ? std::min(frames, mostFrames_) : mostFrames_;
  return std::max<std::int64_t>(frames, 0);
}

}  // namespace cmhost
