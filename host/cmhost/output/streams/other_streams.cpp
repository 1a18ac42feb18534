#include "host/cmhost/output/streams/other_streams.h"

#include "host/cmhost/output/chapters.h"
#include "host/cmhost/output/streams/container_support.h"
#include "host/cmhost/output/streams/converted_subtitles.h"
#include "host/cmhost/output/streams/copied_stream.h"
#include "host/cmhost/output/streams/encoded_sound.h"
#include "host/cmhost/output/streams/programs.h"
#include "host/cmhost/output/time_code.h"
#include "host/cmhost/support/failure.h"
#include "host/cmhost/support/messages.h"

namespace cmhost {

namespace {

bool canCopy(const AVStream& from, const AVFormatContext& format) {
  return supports(*format.oformat, *from.codecpar) &&
         acceptsHeaderWith(format, [&from](AVFormatContext& copy) { addCopyOf(from, copy); });
}

bool isSound(const AVStream& stream) { return stream.codecpar->codec_type == AVMEDIA_TYPE_AUDIO; }

}  // namespace

void OtherStreams::addAll(const Source& source, const Options& options) {
  const AVFormatContext& from = source.format;
  source_.emplace(source);
  options_ = &options;
  others_.resize(from.nb_streams);
  std::vector<int> indexes(from.nb_streams, -1);
  for (unsigned int i = 0; i < from.nb_streams; ++i) {
    const AVStream& stream = *from.streams[i];
    const auto before = static_cast<int>(format_.nb_streams);
    others_[i].name = streamText(stream);
    others_[i].isSound = isSound(stream);
    if (&stream == &source.video)
      indexes[i] = 0;
    else if (!writesTimeCode(*format_.oformat, *format_.streams[0], stream) &&
             !writesChapters(*format_.oformat, from, stream))
      others_[i].track = trackFor(stream);
    if (static_cast<int>(format_.nb_streams) > before) indexes[i] = before;
  }
  if (!refused_.empty()) throw Failure("--strict: the output would lack " + refused_);
  times_.resize(format_.nb_streams);
  warnedOfTimes_.resize(format_.nb_streams);
  copyServices(source, indexes, format_);
}

std::unique_ptr<Track> OtherStreams::trackFor(const AVStream& from) {
  if (isSound(from) && options_->sound == SoundMode::none) {
    leftOut_.push_back(from.index);
    return nullptr;
  }
  if (isMovingPicture(from) && !options_->keepOtherVideo) {
    leaveOut(from,
             "only one video stream is marked; --keep-other-video copies it without the mark");
    return nullptr;
  }
  if (isSound(from) && options_->sound == SoundMode::encode) return encodedSound(from);
  if (!canCopy(from, format_)) return isSound(from) ? encodedSound(from) : convertedSubtitles(from);
  if (isMovingPicture(from))
    printWarning(streamText(from) + " is copied without the mark: only one video stream is marked");
  return std::make_unique<CopiedStream>(from, format_, writer());
}

std::unique_ptr<Track> OtherStreams::encodedSound(const AVStream& from) {
  auto track = EncodedSound::open(from, format_, *source_, writer());
  if (track == nullptr) {
    leaveOut(from, std::string("the container '") + format_.oformat->name +
                       "' does not support it, and it cannot be encoded");
  } else if (!options_->quiet) {
    printNote(
        streamText(from) + " is encoded (" + track->text() + ")" +
        (options_->sound == SoundMode::encode
             ? std::string()
             : std::string(": the container '") + format_.oformat->name + "' does not support it"));
  }
  return track;
}

std::unique_ptr<Track> OtherStreams::convertedSubtitles(const AVStream& from) {
  auto track = ConvertedSubtitles::open(from, format_, *source_, writer());
  if (track == nullptr)
    leaveOut(from,
             std::string("the container '") + format_.oformat->name + "' does not support it");
  else if (!options_->quiet)
    printNote(streamText(from) + " is converted to " + track->text());
  return track;
}

void OtherStreams::leaveOut(const AVStream& from, const std::string& reason) {
  const std::string name = streamText(from);
  leftOut_.push_back(from.index);
  // The choice of a video stream is also the choice to leave out the others.
  const bool isChosen = isMovingPicture(from) && options_->video >= 0;
  if (options_->strict && !isChosen)
    refused_ += (refused_.empty() ? "" : "; ") + name + " (" + reason + ")";
  else
    printWarning(name + " is not copied: " + reason);
}

void OtherStreams::add(const AVPacket& packet) {
  const auto index = static_cast<std::size_t>(packet.stream_index);
  if (index >= others_.size()) {
    addLate(packet);
    return;
  }
  ++others_[index].packets;
  if (others_[index].track != nullptr) others_[index].track->add(packet);
}

// Streams found after the header was written cannot be added.
void OtherStreams::addLate(const AVPacket& packet) {
  const auto index = static_cast<std::size_t>(packet.stream_index);
  for (std::size_t i = others_.size(); i <= index; ++i) {
    const AVStream& stream = *source_->format.streams[i];
    others_.push_back({streamText(stream), isSound(stream), nullptr, 0});
    const std::string what = others_.back().name +
                             " is not copied: it was found after the output was begun; a larger"
                             " --input-option probesize=BYTES finds it earlier";
    leftOut_.push_back(stream.index);
    if (options_->strict) throw Failure("--strict: " + what);
    printWarning(what);
  }
}

PacketWriter OtherStreams::writer() {
  return [this](AVPacket& packet) { write(packet); };
}

void OtherStreams::write(AVPacket& packet) {
  const auto index = static_cast<std::size_t>(packet.stream_index);
  const AVStream& stream = *format_.streams[index];
  const std::int64_t time = packet.dts;
  if (times_[index].order(packet, stream, *format_.oformat) && !warnedOfTimes_[index]) {
    warnedOfTimes_[index] = true;
    printWarning(std::string("the time stamps of the output's ") +
                 av_get_media_type_string(stream.codecpar->codec_type) + " stream " +
                 std::to_string(index) + " jump back at " +
                 secondsText(static_cast<double>(time) * av_q2d(stream.time_base)) +
                 "; they are moved on");
  }
  writer_(packet);
}

void OtherStreams::finish() {
  for (const Other& other : others_)
    if (other.track != nullptr) other.track->finish();
}

std::string OtherStreams::leftOutText() const {
  std::string text;
  const auto add = [&text](const std::string& name) { text += (text.empty() ? "" : ", ") + name; };
  for (const int index : leftOut_) add(others_[static_cast<std::size_t>(index)].name);
  for (const Other& other : others_)
    if (other.track != nullptr && other.isSound && other.packets == 0)
      add(other.name + ", which is empty");
  return text;
}

}  // namespace cmhost
