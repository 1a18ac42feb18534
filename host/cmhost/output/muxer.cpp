#include "host/cmhost/output/muxer.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <cstring>

#include "host/cmhost/output/chapters.h"
#include "host/cmhost/output/time_code.h"
#include "host/cmhost/picture/rotation.h"
#include "host/cmhost/support/av_log.h"
#include "host/cmhost/support/failure.h"
#include "host/cmhost/support/messages.h"

namespace cmhost {

namespace {

// The Matroska tag of a video with alpha in its packets.
constexpr const char* alphaModeKey = "alpha_mode";

// A muxer must not open further files.
int refuseToOpen(AVFormatContext* /*format*/, AVIOContext** /*io*/, const char* /*url*/,
                 int /*flags*/, AVDictionary** /*options*/) {
  return AVERROR(EPERM);
}

const AVOutputFormat& chooseContainer(const OutputFile& file, const std::string& name) {
  const AVOutputFormat* const format = name.empty()
                                           ? av_guess_format(nullptr, file.name().c_str(), nullptr)
                                           : av_guess_format(name.c_str(), nullptr, nullptr);
  if (format == nullptr && name.empty())
    throw Failure(
        file.name() + ": cannot infer a container from this name; choose one with --output-format",
        exitUsage);
  if (format == nullptr)
    throw Failure("--output-format: unknown container '" + name + "'", exitUsage);
  if ((format->flags & AVFMT_NOFILE) != 0)
    throw Failure(file.name() + ": the container '" + format->name +
                      "' does not write a single file; choose another with --output-format",
                  exitUsage);
  return *format;
}

std::string streamText(const AVStream& stream) {
  const char* const kind = av_get_media_type_string(stream.codecpar->codec_type);
  return "stream " + std::to_string(stream.index) + " (" + (kind != nullptr ? kind : "unknown") +
         ", " + avcodec_get_name(stream.codecpar->codec_id) + ")";
}

// The simple containers of raw video cannot store these tags.
void warnOfLostTags(const AVOutputFormat& container, const AVCodecContext& encoder) {
  const bool isNut = std::strcmp(container.name, "nut") == 0;
  if (!isNut && std::strcmp(container.name, "yuv4mpegpipe") != 0) return;
  std::string lost;
  const auto add = [&lost](const char* what, const char* value) {
    lost += (lost.empty() ? "" : ", ") + std::string(what) + " " + (value != nullptr ? value : "?");
  };
  if (encoder.colorspace != AVCOL_SPC_UNSPECIFIED)
    add("matrix", av_color_space_name(encoder.colorspace));
  if (encoder.color_primaries != AVCOL_PRI_UNSPECIFIED)
    add("primaries", av_color_primaries_name(encoder.color_primaries));
  if (encoder.color_trc != AVCOL_TRC_UNSPECIFIED)
    add("transfer", av_color_transfer_name(encoder.color_trc));
  if (isNut && encoder.color_range == AVCOL_RANGE_JPEG) add("range", "full");
  if (!lost.empty())
    printWarning(std::string("the container '") + container.name +
                 "' cannot hold these tags of the video: " + lost);
}

// The mark is drawn on the frame as stored, so players rotate it with the frame.
void warnOfRotation(const AVStream& stream) {
  const long degrees = rotationOf(stream);
  if (degrees != 0)
    printWarning("players rotate this video by " + std::to_string(degrees) +
                 " degrees clockwise, and the mark with it");
}

// The decoders of VP8 and VP9 ignore the alpha channel of WebM.
void warnOfAlpha(const AVStream& stream) {
  const AVDictionaryEntry* const mode = av_dict_get(stream.metadata, alphaModeKey, nullptr, 0);
  if (mode != nullptr && std::strcmp(mode->value, "1") == 0)
    printWarning("the alpha channel of the video is dropped");
}

void copySideData(const AVStream& from, AVStream& to) {
  const StreamSideData all = sideDataOf(from);
  for (int i = 0; i < all.count; ++i) {
    const AVPacketSideData& data = all.data[i];
    if (data.type == AV_PKT_DATA_CPB_PROPERTIES) continue;  // of the original encoder
    std::uint8_t* const copy = newSideData(to, data.type, data.size);
    if (copy == nullptr) throw std::bad_alloc();
    std::memcpy(copy, data.data, data.size);
  }
}

// Matroska stores a cover as an attachment; as a video stream, it would become a video track.
void makeAttachment(const AVStream& cover, AVStream& to, bool isPng) {
  AVCodecParameters& parameters = *to.codecpar;
  const AVPacket& picture = cover.attached_pic;
  const auto size = static_cast<std::size_t>(picture.size);
  av_freep(&parameters.extradata);
  parameters.extradata =
      static_cast<std::uint8_t*>(av_mallocz(size + AV_INPUT_BUFFER_PADDING_SIZE));
  if (parameters.extradata == nullptr) throw std::bad_alloc();
  std::memcpy(parameters.extradata, picture.data, size);
  parameters.extradata_size = picture.size;
  parameters.codec_type = AVMEDIA_TYPE_ATTACHMENT;
  to.disposition = 0;
  av_dict_set(&to.metadata, "mimetype", isPng ? "image/png" : "image/jpeg", 0);
  av_dict_set(&to.metadata, "filename", isPng ? "cover.png" : "cover.jpg", AV_DICT_DONT_OVERWRITE);
}

bool hasFramesOfAnySize(AVCodecID codec) {
  return codec == AV_CODEC_ID_AAC || codec == AV_CODEC_ID_MP2 || codec == AV_CODEC_ID_MP3 ||
         codec == AV_CODEC_ID_AC3 || codec == AV_CODEC_ID_EAC3;
}

// The AVI muxer computes the time of audio from its size: `frame_size` samples for each packet, or
// for each block when there is a block size. Without `frame_size`, it assumes a constant bit rate.
void completeFrameSize(AVCodecParameters& audio) {
  if (audio.frame_size == 0)
    audio.frame_size = av_get_audio_frame_duration2(&audio, audio.block_align);
  if (audio.frame_size > 0 && hasFramesOfAnySize(audio.codec_id)) audio.block_align = 0;
}

AVStream& addCopyOf(const AVStream& from, AVFormatContext& format) {
  AVStream* const to = avformat_new_stream(&format, nullptr);
  if (to == nullptr || avcodec_parameters_copy(to->codecpar, from.codecpar) < 0)
    throw std::bad_alloc();
  to->codecpar->codec_tag = 0;  // let the muxer choose the tag for this codec
  if (to->codecpar->codec_type == AVMEDIA_TYPE_AUDIO) completeFrameSize(*to->codecpar);
  to->time_base = from.time_base;
  to->avg_frame_rate = from.avg_frame_rate;
  to->r_frame_rate = from.r_frame_rate;
  to->sample_aspect_ratio = from.sample_aspect_ratio;
  to->disposition = from.disposition;
  av_dict_copy(&to->metadata, from.metadata, 0);
  copySideData(from, *to);
  const AVCodecID codec = from.codecpar->codec_id;
  if (std::strcmp(format.oformat->name, "matroska") == 0 && from.attached_pic.size > 0 &&
      (codec == AV_CODEC_ID_PNG || codec == AV_CODEC_ID_MJPEG))
    makeAttachment(from, *to, codec == AV_CODEC_ID_PNG);
  return *to;
}

// The muxer of transport streams accepts any codec, but demuxers recognise only these.
bool isKnownInTransportStreams(AVCodecID codec) {
  static constexpr AVCodecID known[] = {
      AV_CODEC_ID_MPEG1VIDEO, AV_CODEC_ID_MPEG2VIDEO,   AV_CODEC_ID_MPEG4,
      AV_CODEC_ID_H264,       AV_CODEC_ID_HEVC,         AV_CODEC_ID_VC1,
      AV_CODEC_ID_DIRAC,      AV_CODEC_ID_CAVS,         AV_CODEC_ID_MP1,
      AV_CODEC_ID_MP2,        AV_CODEC_ID_MP3,          AV_CODEC_ID_AAC,
      AV_CODEC_ID_AAC_LATM,   AV_CODEC_ID_AC3,          AV_CODEC_ID_EAC3,
      AV_CODEC_ID_DTS,        AV_CODEC_ID_TRUEHD,       AV_CODEC_ID_OPUS,
      AV_CODEC_ID_S302M,      AV_CODEC_ID_DVB_SUBTITLE, AV_CODEC_ID_DVB_TELETEXT,
      AV_CODEC_ID_SMPTE_KLV,  AV_CODEC_ID_TIMED_ID3,
  };
  for (const AVCodecID each : known)
    if (each == codec) return true;
  return false;
}

// Whether the container can store the codec. Some muxers write a header for any codec.
bool isKnown(const AVOutputFormat& container, const AVCodecParameters& parameters) {
  if (std::strcmp(container.name, "mpegts") == 0)
    return isKnownInTransportStreams(parameters.codec_id);
  if (parameters.codec_type == AVMEDIA_TYPE_ATTACHMENT)
    return std::strcmp(container.name, "matroska") == 0;
  // Matroska reports codecs without a native codec ID as experimental.
  const int known =
      avformat_query_codec(&container, parameters.codec_id, FF_COMPLIANCE_EXPERIMENTAL);
  if (known >= 0) return known > 0;
  return parameters.codec_type == AVMEDIA_TYPE_AUDIO && container.audio_codec != AV_CODEC_ID_NONE;
}

// AVI supports H.264 only with start codes (Annex B).
bool hasForm(const AVOutputFormat& container, const AVCodecParameters& parameters) {
  const bool asInMp4 = parameters.codec_id == AV_CODEC_ID_H264 && parameters.extradata_size > 0 &&
                       parameters.extradata[0] == 1;
  return !asInMp4 || std::strcmp(container.name, "avi") != 0;
}

}  // namespace

Muxer::Muxer(OutputFile& file, const std::string& formatName) : file_(file) {
  AVFormatContext* format = nullptr;
  if (avformat_alloc_output_context2(&format, &chooseContainer(file, formatName), nullptr,
                                     file.name().c_str()) < 0)
    throw std::bad_alloc();
  format_.reset(format);
  format_->pb = file.io();
  format_->io_open = refuseToOpen;
  format_->flags |= AVFMT_FLAG_BITEXACT;  // equal runs write equal bytes
  // The reader of a pipe gets each packet at once; a file is written in larger blocks.
  if (file.io()->seekable != 0) format_->flush_packets = 0;
}

void Muxer::addVideo(const AVCodecContext& encoder, AVRational timeBase, const Source& source) {
  const AVStream& from = source.video;
  warnOfLostTags(container(), encoder);
  warnOfRotation(from);
  warnOfAlpha(from);
  video_ = avformat_new_stream(format_.get(), nullptr);
  if (video_ == nullptr || avcodec_parameters_from_context(video_->codecpar, &encoder) < 0)
    throw std::bad_alloc();
  video_->time_base = timeBase;
  video_->avg_frame_rate = encoder.framerate;
  video_->r_frame_rate = encoder.framerate;
  video_->sample_aspect_ratio = encoder.sample_aspect_ratio;
  video_->disposition = from.disposition;
  av_dict_copy(&video_->metadata, from.metadata, 0);
  av_dict_set(&video_->metadata, "encoder", nullptr, 0);
  av_dict_set(&video_->metadata, alphaModeKey, nullptr, 0);
  copySideData(from, *video_);
  av_dict_copy(&format_->metadata, source.format.metadata, 0);
  shiftTimeCode(source, video_->metadata);
  shiftTimeCode(source, format_->metadata);
  copyChapters(source, *format_);
  cutsChapters_ = source.mayEndEarly && storesChaptersLast(container(), file_.io()->seekable != 0);
}

void Muxer::addCopies(const Source& source) {
  const AVFormatContext& from = source.format;
  copies_.assign(from.nb_streams, nullptr);
  copyTimeBases_.resize(from.nb_streams);
  for (unsigned int i = 0; i < from.nb_streams; ++i) {
    const AVStream& stream = *from.streams[i];
    if (&stream != &source.video && !writesTimeCode(container(), *video_, stream) &&
        !writesChapters(container(), from, stream))
      addCopy(stream);
  }
}

// Asks the muxer: writes a header for the streams so far and this one to memory.
bool Muxer::takes(const AVStream& from) const {
  if (!isKnown(container(), *from.codecpar) || !hasForm(container(), *from.codecpar)) return false;
  AVFormatContext* format = nullptr;
  if (avformat_alloc_output_context2(&format, &container(), nullptr, nullptr) < 0)
    throw std::bad_alloc();
  const OutputFormatPtr owner(format);
  format->io_open = refuseToOpen;
  for (unsigned int i = 0; i < format_->nb_streams; ++i) {
    const AVStream& stream = *format_->streams[i];
    // Attachments do not affect other streams, and may be many and large.
    if (stream.codecpar->codec_type != AVMEDIA_TYPE_ATTACHMENT) addCopyOf(stream, *format);
  }
  addCopyOf(from, *format);
  if (avio_open_dyn_buf(&format->pb) < 0) throw std::bad_alloc();
  const int result = avformat_write_header(format, nullptr);
  if (result >= 0) av_write_trailer(format);
  std::uint8_t* written = nullptr;
  avio_close_dyn_buf(format->pb, &written);
  av_free(written);
  return result >= 0;
}

void Muxer::addCopy(const AVStream& from) {
  if (!takes(from)) {
    printWarning(streamText(from) + " is not copied: the container '" + container().name +
                 "' does not support it");
    return;
  }
  if (from.codecpar->codec_type == AVMEDIA_TYPE_VIDEO &&
      (from.disposition & AV_DISPOSITION_ATTACHED_PIC) == 0)
    printWarning(streamText(from) + " is copied without the mark: only one video stream is marked");
  AVStream& to = addCopyOf(from, *format_);
  if (to.codecpar->codec_type == AVMEDIA_TYPE_ATTACHMENT) return;  // stored in the header
  copies_[static_cast<std::size_t>(from.index)] = &to;
  copyTimeBases_[static_cast<std::size_t>(from.index)] = from.time_base;
}

void Muxer::check(int result, const char* what) {
  file_.check();  // the system's error is more precise than the muxer's
  if (result < 0)
    throw Failure(file_.name() + ": cannot write " + what + " (container '" + container().name +
                  "'): " + avErrorReason(result));
}

void Muxer::start() {
  const unsigned int chapters = format_->nb_chapters;
  if (cutsChapters_) format_->nb_chapters = 0;  // for the trailer
  const int result = avformat_write_header(format_.get(), nullptr);
  format_->nb_chapters = chapters;
  check(result, "the header");
}

void Muxer::writeVideo(AVPacket& packet, AVRational timeBase) {
  packet.stream_index = video_->index;
  av_packet_rescale_ts(&packet, timeBase, video_->time_base);
  std::int64_t duration = packet.duration;
  if (duration <= 0 && video_->avg_frame_rate.num > 0)
    duration = av_rescale_q(1, av_inv_q(video_->avg_frame_rate), video_->time_base);
  videoEnd_ = std::max(videoEnd_, packet.pts + duration);
  write(packet);
}

void Muxer::writeCopy(AVPacket& packet) {
  // Streams found after the header was written cannot be added.
  const auto index = static_cast<std::size_t>(packet.stream_index);
  AVStream* const stream = index < copies_.size() ? copies_[index] : nullptr;
  if (stream == nullptr) return;
  const PacketPtr copy = orThrow<PacketPtr>(av_packet_clone(&packet));
  copy->stream_index = stream->index;
  copy->pos = -1;
  if (copy->pts == AV_NOPTS_VALUE && (stream->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0)
    copy->pts = copy->dts = 0;
  av_packet_rescale_ts(copy.get(), copyTimeBases_[index], stream->time_base);
  write(*copy);
}

void Muxer::write(AVPacket& packet) {
  const std::lock_guard<std::mutex> lock(mutex_);
  check(av_interleaved_write_frame(format_.get(), &packet), "a packet");
}

void Muxer::finish() {
  if (cutsChapters_) cutChapters(*format_, videoEnd_, video_->time_base);
  check(av_write_trailer(format_.get()), "the trailer");
}

}  // namespace cmhost
