#include "host/cmhost/output/muxer.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <cstring>
#include <utility>

#include "host/cmhost/output/chapters.h"
#include "host/cmhost/output/muxer_options.h"
#include "host/cmhost/output/streams/container_support.h"
#include "host/cmhost/output/streams/copied_stream.h"
#include "host/cmhost/output/time_code.h"
#include "host/cmhost/picture/hdr_metadata.h"
#include "host/cmhost/picture/rotation.h"
#include "host/cmhost/support/av_log.h"
#include "host/cmhost/support/dictionary.h"
#include "host/cmhost/support/failure.h"
#include "host/cmhost/support/messages.h"
#include "host/cmhost/support/picture_names.h"

namespace cmhost {

namespace {

// The Matroska tag of a video with alpha in its packets.
constexpr const char* alphaModeKey = "alpha_mode";

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
  if ((format->flags & AVFMT_NOFILE) != 0 && !file.isPlaylist())
    throw Failure(file.name() + ": the container '" + format->name +
                      "' does not write a single file; write one that does, such as out.mp4 or "
                      "out.ts, or choose another with --output-format",
                  exitUsage);
  return *format;
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
void warnOfRotation(const DisplayMatrix& matrix) {
  const long degrees = rotationOf(matrix);
  if (degrees != 0)
    printWarning("players rotate this video by " + std::to_string(degrees) +
                 " degrees clockwise, and the mark with it");
}

// Copies the side data that holds for the marked frames.
void describeFrames(const Source& source, AVStream& to) {
  copySideData(source.video, to, [&source](AVPacketSideDataType type) {
    return type != AV_PKT_DATA_DISPLAYMATRIX && (source.keepsHdrMetadata || !isHdrMetadata(type));
  });
  if (!source.displayMatrix) {
    av_dict_set(&to.metadata, "rotate", nullptr, 0);
    return;
  }
  constexpr std::size_t bytes = sizeof(DisplayMatrix);
  std::uint8_t* const matrix = newSideData(to, AV_PKT_DATA_DISPLAYMATRIX, bytes);
  if (matrix == nullptr) throw std::bad_alloc();
  std::memcpy(matrix, source.displayMatrix->data(), bytes);
}

// The decoders of VP8 and VP9 ignore the alpha channel of WebM.
void warnOfAlpha(const AVStream& stream) {
  const AVDictionaryEntry* const mode = av_dict_get(stream.metadata, alphaModeKey, nullptr, 0);
  if (mode != nullptr && std::strcmp(mode->value, "1") == 0)
    printWarning("the alpha channel of the video is dropped");
}

OutputFormatPtr allocate(const AVOutputFormat& container, const std::string& name) {
  AVFormatContext* format = nullptr;
  if (avformat_alloc_output_context2(&format, &container, nullptr, name.c_str()) < 0)
    throw std::bad_alloc();
  return OutputFormatPtr(format);
}

}  // namespace

Muxer::Muxer(OutputFile& file, const std::string& formatName, const std::string& input)
    : Muxer(file, chooseContainer(file, formatName)) {
  if (!file.isPlaylist()) return;
  playlist_ = std::make_unique<Playlist>(file, input);
  format_->opaque = playlist_.get();
  format_->io_open = &Muxer::openPiece;
}

Muxer::Muxer(OutputFile& file, const AVOutputFormat& stills, std::string output)
    : Muxer(file, stills) {
  stills_ = std::move(output);
}

Muxer::Muxer(OutputFile& file, const AVOutputFormat& container)
    : file_(file),
      format_(allocate(container, file.name())),
      others_(*format_, [this](AVPacket& packet) { write(packet); }) {
  format_->flags |= AVFMT_FLAG_BITEXACT;  // equal runs write equal bytes
  if (file.isPlaylist()) return;
  format_->pb = file.io();
  format_->opaque = &file;
  format_->io_open = &Muxer::openAgain;
  format_->io_close2 = &Muxer::closeAgain;
  // The reader of a pipe gets each packet at once; a file is written in larger blocks.
  if (isSeekable()) format_->flush_packets = 0;
}

// To move the index to the front, the muxer of MP4 reads what it has written. It must not open any
// other file.
int Muxer::openAgain(AVFormatContext* format, AVIOContext** io, const char* url, int flags,
                     AVDictionary** options) {
  if (flags != AVIO_FLAG_READ || std::strcmp(url, format->url) != 0)
    return refuseToOpen(format, io, url, flags, options);
  *io = static_cast<OutputFile*>(format->opaque)->openReader();
  return *io != nullptr ? 0 : AVERROR(EPERM);
}

int Muxer::openPiece(AVFormatContext* format, AVIOContext** io, const char* url, int flags,
                     AVDictionary** options) {
  return static_cast<Playlist*>(format->opaque)->open(format, io, url, flags, options);
}

int Muxer::closeAgain(AVFormatContext* format, AVIOContext* /*io*/) {
  static_cast<OutputFile*>(format->opaque)->closeReader();
  return 0;
}

void Muxer::addVideo(const AVCodecContext& encoder, AVRational timeBase, const Source& source) {
  const AVStream& from = source.video;
  warnOfLostTags(container(), encoder);
  if (source.displayMatrix) warnOfRotation(*source.displayMatrix);
  warnOfAlpha(from);
  video_ = avformat_new_stream(format_.get(), nullptr);
  if (video_ == nullptr || avcodec_parameters_from_context(video_->codecpar, &encoder) < 0)
    throw std::bad_alloc();
  setCodecTag(container(), *video_->codecpar);
  video_->time_base = timeBase;
  video_->avg_frame_rate = encoder.framerate;
  video_->r_frame_rate = encoder.framerate;
  video_->sample_aspect_ratio = encoder.sample_aspect_ratio;
  video_->disposition = from.disposition;
  av_dict_copy(&video_->metadata, from.metadata, 0);
  av_dict_set(&video_->metadata, "encoder", nullptr, 0);
  av_dict_set(&video_->metadata, alphaModeKey, nullptr, 0);
  describeFrames(source, *video_);
  av_dict_copy(&format_->metadata, source.format.metadata, 0);
  shiftTimeCode(source, video_->metadata);
  shiftTimeCode(source, format_->metadata);
  copyChapters(source, *format_);
  cutsChapters_ = source.mayEndEarly && storesChaptersLast(container(), isSeekable());
}

void Muxer::addOthers(const Source& source, const Options& options) {
  others_.addAll(source, options);
}

void Muxer::check(int result, const char* what) {
  file_.check();  // the system's error is more precise than the muxer's
  if (playlist_ != nullptr) playlist_->check();
  if (result < 0)
    throw Failure(file_.name() + ": cannot write " + what + " (container '" + container().name +
                  "'): " + avErrorReason(result));
}

void Muxer::start(const Options::KeyValues& options) {
  Dictionary dictionary;
  setMuxerOptions(container(), isSeekable(), options, dictionary);
  if (playlist_ != nullptr) playlist_->setOptions(dictionary);
  const unsigned int chapters = format_->nb_chapters;
  if (cutsChapters_) format_->nb_chapters = 0;  // for the trailer
  int result = avformat_init_output(format_.get(), dictionary.entries());
  if (const AVDictionaryEntry* const unknown = dictionary.first();
      result >= 0 && unknown != nullptr)
    throw Failure(std::string("--muxer-option: the container '") + container().name +
                      "' has no option '" + unknown->key + "'",
                  exitUsage);
  if (result >= 0) result = avformat_write_header(format_.get(), nullptr);
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
  if (!stills_.empty()) beginPicture();
  write(packet);
}

void Muxer::beginPicture() {
  if (pictures_++ == 0) return;
  const std::string next = numberedName(stills_, pictures_);
  if (next == stills_)
    throw Failure(stills_ +
                  ": this is a file of one picture and the input has more; write a sequence with a "
                  "numbered name, such as out-%05d.png, or one picture with --frames 1");
  file_.continueIn(next);
  format_->pb = file_.io();
}

void Muxer::writeOther(const AVPacket& packet) { others_.add(packet); }

void Muxer::write(AVPacket& packet) {
  const std::lock_guard<std::mutex> lock(mutex_);
  check(av_interleaved_write_frame(format_.get(), &packet), "a packet");
}

void Muxer::finish() {
  others_.finish();
  if (cutsChapters_) cutChapters(*format_, videoEnd_, video_->time_base);
  check(av_write_trailer(format_.get()), "the trailer");
}

}  // namespace cmhost
