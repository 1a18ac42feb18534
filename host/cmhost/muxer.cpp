#include "host/cmhost/muxer.h"

#include <cstring>

#include "host/cmhost/failure.h"
#include "host/cmhost/messages.h"

namespace cmhost {

namespace {

const AVOutputFormat& chooseContainer(const OutputFile& file, const std::string& name) {
  const AVOutputFormat* const format = name.empty()
                                           ? av_guess_format(nullptr, file.name().c_str(), nullptr)
                                           : av_guess_format(name.c_str(), nullptr, nullptr);
  if (format == nullptr && name.empty())
    throw Failure(file.name() + ": no container is known by such a name; --output-format names one",
                  exitUsage);
  if (format == nullptr)
    throw Failure("--output-format: no container is called '" + name + "'", exitUsage);
  if ((format->flags & AVFMT_NOFILE) != 0)
    throw Failure(file.name() + ": the container '" + format->name +
                      "' is not one file; --output-format names another",
                  exitUsage);
  return *format;
}

// The muxer's own answer: a header is written into memory for this stream alone.
bool takes(const AVOutputFormat& container, const AVCodecParameters& parameters) {
  const int known = avformat_query_codec(&container, parameters.codec_id, FF_COMPLIANCE_NORMAL);
  if (known == 0) return false;
  const bool audio = parameters.codec_type == AVMEDIA_TYPE_AUDIO;
  if (known < 0 && audio && container.audio_codec == AV_CODEC_ID_NONE) return false;
  if (known < 0 && !audio) return false;

  AVFormatContext* format = nullptr;
  if (avformat_alloc_output_context2(&format, &container, nullptr, nullptr) < 0) return false;
  const OutputFormatPtr owner(format);
  AVStream* const stream = avformat_new_stream(format, nullptr);
  if (stream == nullptr || avcodec_parameters_copy(stream->codecpar, &parameters) < 0) return false;
  stream->codecpar->codec_tag = 0;
  if (avio_open_dyn_buf(&format->pb) < 0) return false;
  const int result = avformat_write_header(format, nullptr);
  if (result >= 0) av_write_trailer(format);
  std::uint8_t* written = nullptr;
  avio_close_dyn_buf(format->pb, &written);
  av_free(written);
  return result >= 0;
}

std::string streamText(const AVStream& stream) {
  const char* const kind = av_get_media_type_string(stream.codecpar->codec_type);
  return "stream " + std::to_string(stream.index) + " (" + (kind != nullptr ? kind : "unknown") +
         ", " + avcodec_get_name(stream.codecpar->codec_id) + ")";
}

void copySideData(const AVStream& from, AVStream& to) {
  for (int i = 0; i < from.nb_side_data; ++i) {
    const AVPacketSideData& data = from.side_data[i];
    if (data.type == AV_PKT_DATA_CPB_PROPERTIES) continue;  // the old encoder's
    std::uint8_t* const copy = av_stream_new_side_data(&to, data.type, data.size);
    if (copy == nullptr) throw std::bad_alloc();
    std::memcpy(copy, data.data, data.size);
  }
}

void copyChapters(const AVFormatContext& from, AVFormatContext& to) {
  if (from.nb_chapters == 0) return;
  to.chapters = static_cast<AVChapter**>(av_calloc(from.nb_chapters, sizeof(AVChapter*)));
  if (to.chapters == nullptr) throw std::bad_alloc();
  for (unsigned int i = 0; i < from.nb_chapters; ++i) {
    auto* const chapter = static_cast<AVChapter*>(av_mallocz(sizeof(AVChapter)));
    if (chapter == nullptr) throw std::bad_alloc();
    *chapter = *from.chapters[i];
    chapter->metadata = nullptr;
    av_dict_copy(&chapter->metadata, from.chapters[i]->metadata, 0);
    to.chapters[to.nb_chapters++] = chapter;
  }
}

}  // namespace

Muxer::Muxer(OutputFile& file, const std::string& formatName) : file_(file) {
  AVFormatContext* format = nullptr;
  if (avformat_alloc_output_context2(&format, &chooseContainer(file, formatName), nullptr,
                                     file.name().c_str()) < 0)
    throw std::bad_alloc();
  format_.reset(format);
  format_->pb = file.io();
  format_->flags |= AVFMT_FLAG_BITEXACT;  // the same run writes the same bytes
}

void Muxer::addVideo(const AVCodecContext& encoder, const Input& input) {
  const AVStream& from = input.video();
  video_ = avformat_new_stream(format_.get(), nullptr);
  if (video_ == nullptr || avcodec_parameters_from_context(video_->codecpar, &encoder) < 0)
    throw std::bad_alloc();
  video_->time_base = encoder.time_base;
  video_->avg_frame_rate = encoder.framerate;
  video_->r_frame_rate = encoder.framerate;
  video_->sample_aspect_ratio = encoder.sample_aspect_ratio;
  video_->disposition = from.disposition;
  av_dict_copy(&video_->metadata, from.metadata, 0);
  av_dict_set(&video_->metadata, "encoder", nullptr, 0);
  copySideData(from, *video_);
  av_dict_copy(&format_->metadata, input.format().metadata, 0);
  copyChapters(input.format(), *format_);
}

void Muxer::addCopies(const Input& input) {
  const AVFormatContext& from = input.format();
  copies_.assign(from.nb_streams, nullptr);
  copyTimeBases_.resize(from.nb_streams);
  for (unsigned int i = 0; i < from.nb_streams; ++i)
    if (from.streams[i] != &input.video()) addCopy(*from.streams[i]);
}

void Muxer::addCopy(const AVStream& from) {
  if (!takes(container(), *from.codecpar)) {
    printWarning(streamText(from) + " is left out: the container '" + container().name +
                 "' does not take it");
    return;
  }
  if (from.codecpar->codec_type == AVMEDIA_TYPE_VIDEO &&
      (from.disposition & AV_DISPOSITION_ATTACHED_PIC) == 0)
    printWarning(streamText(from) + " is copied without the mark: only one video stream is marked");
  AVStream* const to = avformat_new_stream(format_.get(), nullptr);
  if (to == nullptr || avcodec_parameters_copy(to->codecpar, from.codecpar) < 0)
    throw std::bad_alloc();
  to->codecpar->codec_tag = 0;  // the container's own, for the same codec
  to->time_base = from.time_base;
  to->avg_frame_rate = from.avg_frame_rate;
  to->sample_aspect_ratio = from.sample_aspect_ratio;
  to->disposition = from.disposition;
  av_dict_copy(&to->metadata, from.metadata, 0);
  copySideData(from, *to);
  copies_[static_cast<std::size_t>(from.index)] = to;
  copyTimeBases_[static_cast<std::size_t>(from.index)] = from.time_base;
}

void Muxer::check(int result, const char* doing) {
  file_.check();  // the system's reason says more than the muxer's
  if (result < 0)
    throw Failure(file_.name() + ": " + doing + " fails in the container '" + container().name +
                  "': " + avErrorReason(result));
}

void Muxer::start() { check(avformat_write_header(format_.get(), nullptr), "writing the header"); }

void Muxer::writeVideo(AVPacket& packet, AVRational timeBase) {
  packet.stream_index = video_->index;
  av_packet_rescale_ts(&packet, timeBase, video_->time_base);
  write(packet);
}

void Muxer::writeCopy(AVPacket& packet) {
  // A stream that turns up later than the header is as unknown to the container.
  const auto index = static_cast<std::size_t>(packet.stream_index);
  AVStream* const stream = index < copies_.size() ? copies_[index] : nullptr;
  if (stream == nullptr) return;
  const PacketPtr copy = orThrow<PacketPtr>(av_packet_clone(&packet));
  copy->stream_index = stream->index;
  copy->pos = -1;
  av_packet_rescale_ts(copy.get(), copyTimeBases_[index], stream->time_base);
  write(*copy);
}

void Muxer::write(AVPacket& packet) {
  const std::lock_guard<std::mutex> lock(mutex_);
  check(av_interleaved_write_frame(format_.get(), &packet), "writing a packet");
}

void Muxer::finish() { check(av_write_trailer(format_.get()), "writing the end"); }

}  // namespace cmhost
