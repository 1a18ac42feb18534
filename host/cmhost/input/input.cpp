#include "host/cmhost/input/input.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <utility>
#include <vector>

#include "host/cmhost/input/demuxer.h"
#include "host/cmhost/support/av_log.h"
#include "host/cmhost/support/failure.h"
#include "host/cmhost/support/interruption.h"
#include "host/cmhost/support/messages.h"

namespace cmhost {

namespace {

// The video streams in the order of the file.
std::vector<AVStream*> videosOf(const AVFormatContext& format) {
  std::vector<AVStream*> videos;
  for (unsigned int i = 0; i < format.nb_streams; ++i)
    if (isMovingPicture(*format.streams[i])) videos.push_back(format.streams[i]);
  return videos;
}

// The number of the first file of a sequence.
int firstNumber(const Options& options) {
  int number = 0;
  for (const auto& [key, value] : options.inputOptions)
    if (key == "start_number") number = std::atoi(value.c_str());
  return number;
}

}  // namespace

Input::Input(const Options& options)
    : file_(options.input, options.inputOptions, firstNumber(options)),
      references_(file_.name(), options.references),
      memory_(file_.name(), options.maxPixels),
      integrity_(file_),
      part_(options),
      others_(file_.name(), part_),
      packet_(newPacket()),
      conceals_(options.conceal) {
  openFormat(options);
  frameRate_ = av_guess_frame_rate(format_.get(), video_, nullptr);
  part_.open(*format_, *video_, frameRate_);
  beginning_.open(*format_, *video_, part_.startsLater());
  integrity_.begin(*format_, *video_);
  decoder_.emplace(file_.name(), *video_, memory_,
                   conceals_ ? Decoder::Damage::concealed : Decoder::Damage::refused,
                   options.threads);
  if (const std::string damage = integrity_.reported(); !damage.empty()) skipOrMeet(damage);
  if (part_.startsLater()) seekToStart();
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
    throw Failure(name() + ": not a video file: " + references_.withHint(avErrorReason(result)));
  }
  chooseVideo(options.video);
}

void Input::chooseVideo(int number) {
  const std::vector<AVStream*> videos = videosOf(*format_);
  if (videos.empty()) {
    failIf(integrity_.missingBytes());
    throw Failure(name() + ": no video stream");
  }
  if (number >= static_cast<int>(videos.size()))
    throw Failure(
        name() + ": --video " + std::to_string(number) + ": the file has " +
        std::to_string(videos.size()) +
        (videos.size() == 1 ? " video stream, number 0" : " video streams, from number 0"));
  if (number >= 0) {
    video_ = videos[static_cast<std::size_t>(number)];
  } else {
    const int best = av_find_best_stream(format_.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    const bool isVideo = best >= 0 && isMovingPicture(*format_->streams[best]);
    video_ = isVideo ? format_->streams[best] : videos.front();
  }
  memory_.check(video_->codecpar->width, video_->codecpar->height);
}

// Seeks only in containers that find key frames exactly. In others, and in pipes, everything before
// the part is decoded and dropped.
void Input::seekToStart() {
  if (!file_.seekable() || (format_->iformat->flags & AVFMT_TS_DISCONT) != 0) return;
  const std::int64_t target = av_rescale_q(part_.start(), av_get_time_base_q(), video_->time_base);
  av_seek_frame(format_.get(), video_->index, target, AVSEEK_FLAG_BACKWARD);
  integrity_.reported();  // if seeking fails, the file is read from the start
}

FramePtr Input::nextFrame() {
  if (part_.ends(decodedFrames_)) {
    others_.endPart();
    passOnRest();
    return nullptr;
  }
  for (;;) {
    FramePtr frame = decodeFrame();
    if (frame == nullptr) {
      others_.endFile();
      return nullptr;
    }
    finishFrame(*frame);
    if (part_.isBeforeStart(frame->pts, video_->time_base)) continue;
    if (decodedFrames_++ == 0) beginAt(frame->pts);
    if (!frameDamage_.empty()) addDamage(frameDamage_);
    others_.reach(nextPts_, video_->time_base);
    frame->pts -= part_.shift(video_->time_base);
    return frame;
  }
}

FramePtr Input::decodeFrame() {
  FramePtr frame = newFrame();
  for (;;) {
    if (interruption::received() != 0) stopReading();
    const int result = decoder_->receive(*frame);
    if (result == AVERROR_EOF && stopped_) return nullptr;
    if (const std::string damage = integrity_.reported(); !damage.empty()) skipOrMeet(damage);
    if (result == AVERROR_EOF) {
      checkComplete();
      return nullptr;
    }
    if (result == AVERROR(EAGAIN)) {
      feedDecoder();
    } else if (result < 0) {
      skipOrMeet(avErrorReason(result));
    } else if (frameDamage_ = Integrity::flagged(*frame); !frameDamage_.empty() && !conceals_) {
      skipOrMeet(frameDamage_);
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
  decoder_->send(nullptr);
}

// The decoder may report damage in any packet that it still holds, not only in this one.
void Input::sendToDecoder(const AVPacket* packet) {
  const int result = decoder_->send(packet);
  if (result < 0 && result != AVERROR_EOF) skipOrMeet(avErrorReason(result));
}

void Input::feedDecoder() {
  for (;;) {
    const int result = integrity_.readPacket(*format_, *packet_);
    if (interruption::received() != 0) {  // the packet may be truncated
      av_packet_unref(packet_.get());
      stopReading();
      return;
    }
    references_.checkOpened();
    const bool endsWhileGrowing = file_.endsWhileGrowing();
    if (result == AVERROR_EOF || (result < 0 && endsWhileGrowing)) {
      if (file_.io() != nullptr && file_.io()->error < 0) endEarly(file_.io()->error);
      sendToDecoder(nullptr);
      return;
    }
    if (result < 0) {
      endEarly(result);
      sendToDecoder(nullptr);
      return;
    }
    if (endsWhileGrowing && integrity_.dropsTruncated(*packet_)) {
      av_packet_unref(packet_.get());
      continue;
    }
    const bool isVideo = packet_->stream_index == video_->index;
    const bool isAdmitted = isVideo && beginning_.admits(*packet_);
    const std::string damage = Integrity::flagged(*packet_);
    if (!damage.empty()) skipOrMeet(damage);
    if (isAdmitted) break;
    if (damage.empty() && !isVideo) passOn();
    av_packet_unref(packet_.get());
  }
  sendToDecoder(packet_.get());
  av_packet_unref(packet_.get());
}

void Input::skipOrMeet(const std::string& what) {
  if (stopped_) return;
  if (!conceals_ || decodedFrames_ == 0) memory_.check(what);
  if (beginning_.mayBeIncomplete() && decodedFrames_ == 0)
    beginning_.skip();
  else
    meetDamage(what);
}

// Ends the run or, with --conceal, leaves the rest to the decoder.
void Input::meetDamage(const std::string& what) {
  if (!conceals_) failDamaged(what);
  const auto next = static_cast<double>(nextPts_);
  damage_.add({decodedFrames_, next * av_q2d(video_->time_base), what});
}

void Input::endEarly(int error) {
  const std::string reason = references_.withHint(avErrorReason(error));
  if (!file_.isLive() || decodedFrames_ == 0)
    meetDamage(reason);
  else if (!file_.interrupted())
    printWarning(name() + ": the stream has ended: " + reason);
}

void Input::meetIf(const std::string& damage) {
  if (!damage.empty()) meetDamage(damage);
}

void Input::addDamage(const std::string& what) {
  damage_.add({decodedFrames_ - 1, lastFrameSeconds_, what});
}

void Input::passOn() { others_.add(*packet_, *format_->streams[packet_->stream_index]); }

// Containers may store audio up to a second after the video it belongs to.
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
        meetDamage(avErrorReason(result));
      return;
    }
    const bool isVideo = packet_->stream_index == video_->index;
    const bool isBehind =
        isVideo && packet_->dts != AV_NOPTS_VALUE && packet_->dts > nextPts_ + behind;
    const std::string damage = Integrity::flagged(*packet_);
    if (!isVideo && !stopped_ && !endsWhileGrowing) meetIf(damage);
    const AVRational timeBase = format_->streams[packet_->stream_index]->time_base;
    if (!isVideo && !stopped_ && damage.empty() && packet_->pts != AV_NOPTS_VALUE &&
        av_compare_ts(packet_->pts, timeBase, nextPts_, video_->time_base) < 0)
      passOn();
    av_packet_unref(packet_.get());
    if (isBehind) return;
  }
}

void Input::finishFrame(AVFrame& frame) {
  frame.pts =
      frame.best_effort_timestamp != AV_NOPTS_VALUE ? frame.best_effort_timestamp : nextPts_;
  if (conceals_ && frame.pts < lastPts_) {
    if (frameDamage_.empty()) frameDamage_ = "the time stamp is before that of the last frame";
    frame.pts = nextPts_;
  }
  lastPts_ = frame.pts;
  frame.sample_aspect_ratio = av_guess_sample_aspect_ratio(format_.get(), video_, &frame);
  std::int64_t duration = durationOf(frame);
  if (duration <= 0 && frameRate_.num > 0)
    duration = av_rescale_q(1, av_inv_q(frameRate_), video_->time_base);
  nextPts_ = frame.pts + std::max<std::int64_t>(duration, 1);
  lastFrameSeconds_ = static_cast<double>(frame.pts) * av_q2d(video_->time_base);
}

void Input::beginAt(std::int64_t pts) {
  part_.beginAt(pts);
  if (beginning_.wasSkipped())
    printWarning(name() + ": everything before the first complete frame, at " +
                 secondsText(lastFrameSeconds_) + ", is dropped");
}

// A truncated file may end without an error.
void Input::checkComplete() {
  meetIf(file_.missingFromNetwork());
  meetIf(integrity_.missing(!part_.startsLater()));
  if (const std::int64_t left = integrity_.picturesBeforeFirst();
      left > 0 && !part_.startsLater() && !beginning_.wasSkipped())
    printWarning(name() + ": dropped " + framesText(left) +
                 " before the first complete frame: not decodable");
  if (integrity_.hasOpenEnd())
    printWarning(name() +
                 ": the file was not finalized or was written to a pipe; cannot check whether its "
                 "end is missing");
  if (file_.hasGrown())
    printWarning(name() + ": the file grew while it was being read; only the first " +
                 std::to_string(file_.size()) + " bytes were used");
  if (decodedFrames_ > 0) return;
  if (part_.startsLater() && nextPts_ > 0)
    throw Failure(name() + ": --start is after the last frame, which is at " +
                  secondsText(lastFrameSeconds_));
  failDamaged("no complete frame");
}

void Input::failIf(const std::string& damage) const {
  if (!damage.empty()) failDamaged(damage);
}

void Input::failDamaged(const std::string& what) const {
  std::string message = name() + ": damaged or truncated: " + what + "; ";
  if (decodedFrames_ == 0)
    message += "decoded no frames";
  else
    message +=
        "decoded " + framesText(decodedFrames_) + ", the last at " + secondsText(lastFrameSeconds_);
  if (!conceals_) message += "; use --conceal to finish in spite of damage";
  throw Failure(message);
}

Source Input::source() {
  return {*format_,
          *video_,
          frameRate_,
          part_.shift(av_get_time_base_q()),
          part_.mayEndEarly(),
          video_->codecpar->field_order,
          {},
          true,
          beginning_.mayBeIncomplete(),
          [this](const std::string& what) { skipOrMeet(what); }};
}

}  // namespace cmhost
