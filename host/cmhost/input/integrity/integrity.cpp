#include "host/cmhost/input/integrity/integrity.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

#include "host/cmhost/input/memory_limits.h"
#include "host/cmhost/support/av_versions.h"
#include "host/cmhost/support/messages.h"

namespace cmhost {

namespace {

bool isContainer(const AVFormatContext& format, const char* name) {
  return std::strcmp(format.iformat->name, name) == 0;
}

// Codecs whose packets hold exactly one frame each. Codecs with hidden frames or with one packet
// per field are not among them.
bool hasPicturePerPacket(AVCodecID codec) {
  if (codec == AV_CODEC_ID_HEVC || codec == AV_CODEC_ID_FFV1) return true;
  if (codec == AV_CODEC_ID_CFHD) return false;
  const AVCodecDescriptor* const descriptor = avcodec_descriptor_get(codec);
  return descriptor != nullptr && (descriptor->props & AV_CODEC_PROP_INTRA_ONLY) != 0;
}

// No decoder holds more frames.
constexpr std::size_t mostAwaited = 10000;

AVRational frameDuration(const AVFormatContext& format, const AVStream& video) {
  const AVRational rate = av_guess_frame_rate(const_cast<AVFormatContext*>(&format),
                                              const_cast<AVStream*>(&video), nullptr);
  return rate.num > 0 ? av_inv_q(rate) : AVRational{1, 20};
}

std::string secondsText(std::int64_t time, AVRational timeBase) {
  return cmhost::secondsText(static_cast<double>(time) * av_q2d(timeBase));
}

// Logged errors that do not affect the video.
bool isHarmless(const AvLogLine& line) {
  static constexpr const char* texts[] = {
      "read_timestamp",            // failed search for the duration of an unfinished file
      "error opening alias",       // time code in another file
      "chapter track not found",   // chapters dropped by a copy
      "Stream ends prematurely",   // the connection is opened again; a failure is returned
      "mmco: unref short failure"  // a reference frame that is no longer needed is missing
  };
  return std::any_of(std::begin(texts), std::end(texts), [&line](const char* text) {
    return line.text.find(text) != std::string::npos;
  });
}

}  // namespace

Integrity::~Integrity() { stopListening(); }

void Integrity::begin(const AVFormatContext& format, const AVStream& video) {
  format_ = &format;
  video_ = &video;
  onePicturePerPacket_ = hasPicturePerPacket(video.codecpar->codec_id);
  lastPicture_.begin(format, video);
  hiddenPictures_.begin(format);
  packetCount_.begin(format, video);
  endsWithPicture_ = isContainer(format, "mjpeg") || isContainer(format, "jpeg_pipe");
  decoding_ = true;
}

// In the media libraries, an error means that data is lost even if the call succeeds. Parts of
// demuxers log under their own names. Errors logged by decoders before decoding began come from
// stream probing; those packets are decoded again.
bool Integrity::isDamage(const AvLogLine& line) const {
  const bool isError = line.level <= AV_LOG_ERROR && !isHarmless(line);
  if (line.category == AV_CLASS_CATEGORY_DEMUXER) return isError || line.isDetail;
  if (line.category == AV_CLASS_CATEGORY_NA || line.category == AV_CLASS_CATEGORY_BITSTREAM_FILTER)
    return isError && readingThread_ == std::this_thread::get_id();
  if (line.category != AV_CLASS_CATEGORY_DECODER || !decoding_) return false;
  const bool lacksEnd = line.text.find("EOI missing") != std::string::npos;
  return isError || line.isDetail || (lacksEnd && endsWithPicture_);
}

// Repairs: some decoders and demuxers do not log them as errors.
bool Integrity::isDetail(const char* format) const {
  static constexpr const char* repairs[] = {"concealing ", "freeing incomplete packet"};
  return std::any_of(std::begin(repairs), std::end(repairs), [format](const char* repair) {
    return std::strncmp(format, repair, std::strlen(repair)) == 0;
  });
}

void Integrity::logged(const AvLogLine& line) {
  if (!isDamage(line)) return;
  const std::thread::id thread = std::this_thread::get_id();
  if (thread == tryingThread_) {
    trialFailed_ = trialFailed_ || trialCounts_;
    return;
  }
  const bool isAtEnd = thread == readingThread_ && file_.endIsKept();
  const std::lock_guard<std::mutex> lock(mutex_);
  std::string& reported = isAtEnd ? reportedAtEnd_ : reported_;
  if (reported.empty()) reported = line.text;  // the first error is usually the cause
}

int Integrity::readPacket(AVFormatContext& format, AVPacket& packet) {
  const Reading reading(*this);
  const int result = av_read_frame(&format, &packet);
  if (result >= 0) addPacket(packet);
  return result;
}

std::string Integrity::reported() {
  const std::lock_guard<std::mutex> lock(mutex_);
  std::string atEnd = std::exchange(reportedAtEnd_, {});
  if (atEnd.empty() || file_.hasGrown()) return std::exchange(reported_, {});
  return atEnd;
}

std::string Integrity::flagged(const AVPacket& packet) {
  if ((packet.flags & AV_PKT_FLAG_CORRUPT) == 0) return "";
  return "incomplete packet in stream " + std::to_string(packet.stream_index);
}

std::string Integrity::flagged(const AVFrame& frame) {
  const bool isDamaged =
      frame.decode_error_flags != 0 || (frame.flags & AV_FRAME_FLAG_CORRUPT) != 0;
  return isDamaged ? "incomplete frame" : "";
}

bool Integrity::dropsTruncated(const AVPacket& packet) {
  if (droppedStreams_.count(packet.stream_index) != 0) {
    const std::lock_guard<std::mutex> lock(mutex_);
    reported_ = "incomplete packet in stream " + std::to_string(packet.stream_index);
    return true;
  }
  if (isComplete(packet)) return false;
  droppedStreams_.insert(packet.stream_index);
  if (packet.stream_index == video_->index) {
    awaited_.erase(packetPts_);
    lastPicture_.leaveOut();
  }
  return true;
}

// For video, according to the container or to a test decode. False when neither gives an answer.
bool Integrity::isComplete(const AVPacket& packet) {
  if (!flagged(packet).empty()) return false;
  if (packet.stream_index != video_->index) return true;
  tryingThread_ = std::this_thread::get_id();
  trialFailed_ = false;
  const bool isDecoded = lastPicture_.decodes([this](bool counts) { trialCounts_ = counts; });
  const bool isWhole = isDecoded && !trialFailed_ && !lastPicture_.isCut(LastPicture::Threads::own);
  tryingThread_ = std::thread::id();
  return isWhole;
}

void Integrity::addPacket(const AVPacket& packet) {
  packetsEnd_ = std::max(packetsEnd_, packet.pos + packet.size);
  const std::int64_t time = packet.pts != AV_NOPTS_VALUE ? packet.pts : packet.dts;
  if (time != AV_NOPTS_VALUE) {
    const AVRational timeBase = format_->streams[packet.stream_index]->time_base;
    const std::int64_t end = time + std::max<std::int64_t>(packet.duration, 0);
    timesEnd_ = std::max(timesEnd_, av_rescale_q(end, timeBase, av_get_time_base_q()));
  }
  if (packet.stream_index != video_->index) return;
  packetBytes_ = packet.size;
  packetPts_ = packet.pts;
  const bool isKey = (packet.flags & AV_PKT_FLAG_KEY) != 0;
  if (isKey && firstKeyPts_ == AV_NOPTS_VALUE) firstKeyPts_ = packet.pts;
  lastPicture_.addPacket(packet);
  hiddenPictures_.addPacket(packet);
  packetCount_.addPacket(packet);
  const bool isShown = (packet.flags & AV_PKT_FLAG_DISCARD) == 0 && packet.size > 0;
  if (!onePicturePerPacket_ || !isShown || packet.pts == AV_NOPTS_VALUE) return;
  awaited_.insert(packet.pts);
  if (awaited_.size() <= mostAwaited) return;
  if (lost_++ == 0) firstLost_ = *awaited_.begin();
  awaited_.erase(awaited_.begin());
}

void Integrity::addPicture(const AVFrame& picture) {
  packetCount_.addPicture();
  if (firstPts_ == AV_NOPTS_VALUE) firstPts_ = picture.pts;
  if (isInterlacedFrame(picture) && video_->codecpar->codec_id != AV_CODEC_ID_HEVC)
    onePicturePerPacket_ = false;
  awaited_.erase(picture.pts);
}

// Frames shown before the first key frame may refer to frames that are not in the file.
// AV_NOPTS_VALUE is less than any time stamp.
std::set<std::int64_t>::const_iterator Integrity::firstDue() const {
  return awaited_.lower_bound(std::max(firstPts_, firstKeyPts_));
}

std::int64_t Integrity::picturesBeforeFirst() const {
  return onePicturePerPacket_ ? std::distance(awaited_.begin(), firstDue()) : 0;
}

std::string Integrity::missingPictures() const {
  if (!onePicturePerPacket_) return "";
  const auto first = firstDue();
  const auto count = std::distance(first, awaited_.end()) + lost_;
  if (count == 0) return "";
  const std::string place = secondsText(lost_ > 0 ? firstLost_ : *first, video_->time_base);
  return count == 1 ? "the frame at " + place + " is missing"
                    : std::to_string(count) + " frames are missing, the first at " + place;
}

std::string Integrity::missingPackets() const {
  const std::int64_t expected = packetCount_.expected();
  if (expected == 0) return "";
  return "found only " + std::to_string(packetCount_.found()) + " of the " + framesText(expected) +
         " declared in the header";
}

std::string Integrity::missingBytes() const {
  if (file_.hasGrown()) return "";  // and may still be growing
  const std::int64_t missing = file_.declaredSize() - file_.size();
  if (missing <= 0) return "";
  return missing == 1 ? "the end of the file is missing"
                      : "at least " + std::to_string(missing) + " bytes are missing at the end";
}

bool Integrity::hasOpenEnd() const {
  return isContainer(*format_, "avi") && !file_.hasGrown() && file_.declaredSize() < 0;
}

// These containers declare their duration in the header. Some writers omit the duration of the last
// frame, some round to seconds.
std::string Integrity::missingTime() const {
  const bool hasDuration = isContainer(*format_, "mxf") || isContainer(*format_, "flv");
  if (!hasDuration || format_->duration == AV_NOPTS_VALUE ||
      format_->duration_estimation_method == AVFMT_DURATION_FROM_BITRATE)
    return "";
  std::int64_t tolerance = av_rescale_q(2, frameDuration(*format_, *video_), av_get_time_base_q());
  const bool isRounded = format_->duration % AV_TIME_BASE == 0;
  if (isContainer(*format_, "flv") && isRounded) tolerance = AV_TIME_BASE;
  if (timesEnd_ >= format_->duration - tolerance) return "";
  return "the declared duration is " + secondsText(format_->duration, av_get_time_base_q()) +
         " but the last packet ends at " + secondsText(timesEnd_, av_get_time_base_q());
}

// In these containers, only fixed-size headers separate the frames.
bool Integrity::hasPartOfPicture() const {
  if (isContainer(*format_, "yuv4mpegpipe")) return file_.size() > packetsEnd_;
  return isContainer(*format_, "dv") && packetBytes_ > 0 && file_.size() % packetBytes_ != 0;
}

std::string Integrity::missing(bool fromItsBeginning) const {
  const bool endsAnywhere = file_.hasGrown();
  if (std::string bytes = missingBytes(); !bytes.empty()) return bytes;
  if (fromItsBeginning && hiddenPictures_.areLost())
    return "a wrong time stamp in the index hides frames";
  if (fromItsBeginning && !endsAnywhere)
    for (std::string lack : {missingTime(), missingPackets()})
      if (!lack.empty()) return lack;
  if (std::string pictures = missingPictures(); !pictures.empty()) return pictures;
  const bool isCut = (!endsAnywhere && hasPartOfPicture()) || lastPicture_.isCut();
  return isCut ? "the last frame is incomplete" : "";
}

}  // namespace cmhost
