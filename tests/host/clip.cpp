#include "tests/host/clip.h"

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/display.h>
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

#include <cmath>
#include <cstring>
#include <stdexcept>

#include "host/cmhost/av_versions.h"

namespace clip {

namespace {

int check(int result, const char* what) {
  if (result < 0) {
    char text[AV_ERROR_MAX_STRING_SIZE] = "";
    av_strerror(result, text, sizeof text);
    throw std::runtime_error(std::string(what) + ": " + text);
  }
  return result;
}

int planeHeight(AVPixelFormat format, int height, int plane) {
  const AVPixFmtDescriptor* const descriptor = av_pix_fmt_desc_get(format);
  return plane == 0 ? height : AV_CEIL_RSHIFT(height, descriptor->log2_chroma_h);
}

int rowBytes(AVPixelFormat format, int width, int plane) {
  return check(av_image_get_linesize(format, width, plane), "row size");
}

int planeCount(AVPixelFormat format) { return av_pix_fmt_count_planes(format); }

constexpr int sampleRate = 48000;
constexpr int audioRate = 25;  // packets a second

class Writer {
 public:
  Writer(const std::string& path, const Clip& clip) : clip_(clip) {
    check(avformat_alloc_output_context2(&format_, nullptr, nullptr, path.c_str()), "container");
    format_->flags |= AVFMT_FLAG_BITEXACT;
  }

  ~Writer() {
    avcodec_free_context(&encoder_);
    avformat_free_context(format_);
  }

  void addVideo() {
    openEncoder(clip_.pictures.at(0));
    video_ = avformat_new_stream(format_, nullptr);
    check(avcodec_parameters_from_context(video_->codecpar, encoder_), "parameters");
    video_->time_base = clip_.tags.timeBase;
    video_->avg_frame_rate = clip_.tags.rate;
    video_->sample_aspect_ratio = clip_.tags.sampleAspect;
    if (clip_.tags.rotation != 0) {
      constexpr std::size_t bytes = 9 * sizeof(std::int32_t);
      auto* const matrix = reinterpret_cast<std::int32_t*>(
          cmhost::newSideData(*video_, AV_PKT_DATA_DISPLAYMATRIX, bytes));
      av_display_rotation_set(matrix, clip_.tags.rotation);
    }
  }

  void addAudio() {
    audio_ = avformat_new_stream(format_, nullptr);
    audio_->codecpar->codec_type = AVMEDIA_TYPE_AUDIO;
    audio_->codecpar->codec_id = AV_CODEC_ID_PCM_S16LE;
    audio_->codecpar->sample_rate = sampleRate;
    audio_->codecpar->format = AV_SAMPLE_FMT_S16;
    audio_->codecpar->bits_per_coded_sample = 16;
    audio_->codecpar->block_align = 4;
    av_channel_layout_default(&audio_->codecpar->ch_layout, 2);
    audio_->time_base = {1, sampleRate};
  }

  void addSubtitles() {
    subtitles_ = avformat_new_stream(format_, nullptr);
    subtitles_->codecpar->codec_type = AVMEDIA_TYPE_SUBTITLE;
    subtitles_->codecpar->codec_id = AV_CODEC_ID_SUBRIP;
    subtitles_->time_base = {1, 1000};
  }

  void writeAll(const std::string& path) {
    check(avio_open(&format_->pb, path.c_str(), AVIO_FLAG_WRITE), "output");
    check(avformat_write_header(format_, nullptr), "header");
    if (audio_ != nullptr)
      for (const Packet& packet : clip_.audio) writePacket(*audio_, packet, 1.0 / audioRate);
    if (subtitles_ != nullptr)
      for (const Packet& packet : clip_.subtitles) writePacket(*subtitles_, packet, 0.5);
    if (video_ != nullptr) {
      for (std::size_t i = 0; i < clip_.pictures.size(); ++i) encode(i);
      send(nullptr);
    }
    check(av_write_trailer(format_), "trailer");
    check(avio_closep(&format_->pb), "close");
  }

 private:
  void openEncoder(const Picture& like) {
    avcodec_free_context(&encoder_);
    const AVCodec* const codec = avcodec_find_encoder_by_name(clip_.encoder.c_str());
    if (codec == nullptr) throw std::runtime_error("no encoder " + clip_.encoder);
    encoder_ = avcodec_alloc_context3(codec);
    encoder_->width = like.width;
    encoder_->height = like.height;
    encoder_->pix_fmt = like.format;
    encoder_->time_base = clip_.tags.timeBase;
    encoder_->framerate = clip_.tags.rate;
    encoder_->sample_aspect_ratio = clip_.tags.sampleAspect;
    encoder_->color_range = clip_.tags.range;
    encoder_->color_primaries = clip_.tags.primaries;
    encoder_->color_trc = clip_.tags.transfer;
    encoder_->colorspace = clip_.tags.matrix;
    encoder_->chroma_sample_location = clip_.tags.chroma;
    encoder_->field_order = clip_.tags.fieldOrder;
    encoder_->flags |= AV_CODEC_FLAG_BITEXACT;
    if (clip_.keyInterval > 0) encoder_->gop_size = clip_.keyInterval;
    if ((format_->oformat->flags & AVFMT_GLOBALHEADER) != 0)
      encoder_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    AVDictionary* options = nullptr;
    if (clip_.encoder == "ffv1") {
      av_dict_set(&options, "level", "3", 0);
      av_dict_set(&options, "slicecrc", "1", 0);
    }
    if (clip_.encoder == "libx265") av_dict_set(&options, "x265-params", "log-level=none", 0);
    const int result = avcodec_open2(encoder_, codec, &options);
    av_dict_free(&options);
    check(result, "encoder");
  }

  void encode(std::size_t index) {
    const Picture& picture = clip_.pictures[index];
    if (picture.width != encoder_->width || picture.height != encoder_->height) {
      send(nullptr);
      openEncoder(picture);
    }
    AVFrame* frame = av_frame_alloc();
    frame->format = picture.format;
    frame->width = picture.width;
    frame->height = picture.height;
    check(av_frame_get_buffer(frame, 0), "frame");
    for (int plane = 0; plane < planeCount(picture.format); ++plane) {
      const int bytes = rowBytes(picture.format, picture.width, plane);
      for (int y = 0; y < planeHeight(picture.format, picture.height, plane); ++y)
        std::memcpy(frame->data[plane] + y * frame->linesize[plane],
                    picture.planes[static_cast<std::size_t>(plane)].data() + y * bytes,
                    static_cast<std::size_t>(bytes));
    }
    frame->pts = picture.pts;
    frame->color_range = clip_.tags.range;
    frame->colorspace = clip_.tags.matrix;
    if (index < clip_.interlaced.size())
      cmhost::setInterlaced(*frame, clip_.interlaced[index], clip_.topFieldFirst[index]);
    send(frame);
    av_frame_free(&frame);
  }

  void send(const AVFrame* frame) {
    check(avcodec_send_frame(encoder_, frame), "encode");
    AVPacket* packet = av_packet_alloc();
    while (avcodec_receive_packet(encoder_, packet) == 0) {
      packet->stream_index = video_->index;
      packet->duration = av_rescale_q(1, av_inv_q(clip_.tags.rate), encoder_->time_base);
      av_packet_rescale_ts(packet, encoder_->time_base, video_->time_base);
      check(av_interleaved_write_frame(format_, packet), "write");
    }
    av_packet_free(&packet);
  }

  void writePacket(const AVStream& stream, const Packet& data, double duration) {
    AVPacket* packet = av_packet_alloc();
    check(av_new_packet(packet, static_cast<int>(data.data.size())), "packet");
    std::memcpy(packet->data, data.data.data(), data.data.size());
    packet->stream_index = stream.index;
    packet->pts = packet->dts = std::llround(data.seconds / av_q2d(stream.time_base));
    packet->duration = std::llround(duration / av_q2d(stream.time_base));
    packet->flags = AV_PKT_FLAG_KEY;
    check(av_interleaved_write_frame(format_, packet), "write");
    av_packet_free(&packet);
  }

  const Clip& clip_;
  AVFormatContext* format_ = nullptr;
  AVCodecContext* encoder_ = nullptr;
  AVStream* video_ = nullptr;
  AVStream* audio_ = nullptr;
  AVStream* subtitles_ = nullptr;
};

class Reader {
 public:
  explicit Reader(const std::string& path) {
    check(avformat_open_input(&format_, path.c_str(), nullptr, nullptr), "open");
    check(avformat_find_stream_info(format_, nullptr), "streams");
    const int best =
        check(av_find_best_stream(format_, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0), "video stream");
    video_ = format_->streams[best];
    const AVCodec* const codec = avcodec_find_decoder(video_->codecpar->codec_id);
    decoder_ = avcodec_alloc_context3(codec);
    check(avcodec_parameters_to_context(decoder_, video_->codecpar), "parameters");
    decoder_->pkt_timebase = video_->time_base;
    decoder_->flags |= AV_CODEC_FLAG_BITEXACT;
    check(avcodec_open2(decoder_, codec, nullptr), "decoder");
  }

  ~Reader() {
    avcodec_free_context(&decoder_);
    avformat_close_input(&format_);
  }

  std::vector<std::int64_t> packetPlaces() {
    std::vector<std::int64_t> places;
    AVPacket* packet = av_packet_alloc();
    for (; av_read_frame(format_, packet) >= 0; av_packet_unref(packet))
      if (packet->stream_index == video_->index) places.push_back(packet->pos);
    av_packet_free(&packet);
    return places;
  }

  Clip readAll() {
    Clip clip;
    describe(clip.tags);
    clip.encoder = avcodec_get_name(video_->codecpar->codec_id);
    AVPacket* packet = av_packet_alloc();
    while (av_read_frame(format_, packet) >= 0) {
      const AVStream& stream = *format_->streams[packet->stream_index];
      if (&stream == video_) {
        check(avcodec_send_packet(decoder_, packet), "decode");
        receive(clip);
      } else if (stream.codecpar->codec_type == AVMEDIA_TYPE_AUDIO) {
        clip.audio.push_back(copy(*packet, stream));
      } else if (stream.codecpar->codec_type == AVMEDIA_TYPE_SUBTITLE) {
        clip.subtitles.push_back(copy(*packet, stream));
      }
      av_packet_unref(packet);
    }
    av_packet_free(&packet);
    avcodec_send_packet(decoder_, nullptr);
    receive(clip);
    return clip;
  }

 private:
  void describe(Tags& tags) const {
    const AVCodecParameters& from = *video_->codecpar;
    tags.rate = video_->avg_frame_rate;
    tags.timeBase = video_->time_base;
    tags.sampleAspect = av_guess_sample_aspect_ratio(format_, video_, nullptr);
    tags.range = from.color_range;
    tags.primaries = from.color_primaries;
    tags.transfer = from.color_trc;
    tags.matrix = from.color_space;
    tags.chroma = from.chroma_location;
    tags.fieldOrder = from.field_order;
  }

  static Packet copy(const AVPacket& packet, const AVStream& stream) {
    return {Bytes(packet.data, packet.data + packet.size),
            static_cast<double>(packet.pts) * av_q2d(stream.time_base)};
  }

  void receive(Clip& clip) {
    AVFrame* frame = av_frame_alloc();
    while (avcodec_receive_frame(decoder_, frame) == 0) {
      Picture picture;
      picture.width = frame->width;
      picture.height = frame->height;
      picture.format = static_cast<AVPixelFormat>(frame->format);
      picture.pts = frame->best_effort_timestamp;
      for (int plane = 0; plane < planeCount(picture.format); ++plane) {
        const int bytes = rowBytes(picture.format, picture.width, plane);
        Bytes& to = picture.planes.at(static_cast<std::size_t>(plane));
        for (int y = 0; y < planeHeight(picture.format, picture.height, plane); ++y) {
          const std::uint8_t* const row = frame->data[plane] + y * frame->linesize[plane];
          to.insert(to.end(), row, row + bytes);
        }
      }
      clip.pictures.push_back(std::move(picture));
      clip.interlaced.push_back(cmhost::isInterlacedFrame(*frame));
      clip.topFieldFirst.push_back(cmhost::isTopFieldFirst(*frame));
    }
    av_frame_free(&frame);
  }

  AVFormatContext* format_ = nullptr;
  AVCodecContext* decoder_ = nullptr;
  AVStream* video_ = nullptr;
};

}  // namespace

Picture draw(AVPixelFormat format, int width, int height, int index) {
  Picture picture;
  picture.width = width;
  picture.height = height;
  picture.format = format;
  picture.pts = index;
  const AVPixFmtDescriptor* const descriptor = av_pix_fmt_desc_get(format);
  const bool wide = descriptor->comp[0].depth > 8;
  std::uint32_t noise = 12345U + static_cast<std::uint32_t>(index) * 7919U;
  for (int plane = 0; plane < planeCount(format); ++plane) {
    const int bytes = rowBytes(format, width, plane);
    Bytes& to = picture.planes.at(static_cast<std::size_t>(plane));
    for (int y = 0; y < planeHeight(format, height, plane); ++y) {
      for (int x = 0; x < bytes; ++x) {
        noise = noise * 1664525U + 1013904223U;
        const auto value = static_cast<std::uint8_t>(
            16 + (x * 3 + y * (plane + 1) + index * 5) % 180 + (noise >> 24) % 40);
        to.push_back(wide && x % 2 == 1 ? value & 3 : value);
      }
    }
  }
  return picture;
}

std::vector<Picture> drawMany(AVPixelFormat format, int width, int height, int count) {
  std::vector<Picture> pictures;
  for (int i = 0; i < count; ++i) pictures.push_back(draw(format, width, height, i));
  return pictures;
}

std::vector<Packet> tone(int packets) {
  std::vector<Packet> result;
  constexpr int samples = sampleRate / audioRate;
  for (int i = 0; i < packets; ++i) {
    Packet packet;
    packet.seconds = static_cast<double>(i) / audioRate;
    for (int n = 0; n < samples * 4; ++n)
      packet.data.push_back(static_cast<std::uint8_t>(n * 13 + i * 7));
    result.push_back(std::move(packet));
  }
  return result;
}

void write(const std::string& path, const Clip& clip) {
  Writer writer(path, clip);
  writer.addVideo();
  if (!clip.audio.empty()) writer.addAudio();
  if (!clip.subtitles.empty()) writer.addSubtitles();
  writer.writeAll(path);
}

void writeAudioOnly(const std::string& path, const Clip& clip) {
  Writer writer(path, clip);
  writer.addAudio();
  writer.writeAll(path);
}

std::vector<std::int64_t> packetPlaces(const std::string& path) {
  return Reader(path).packetPlaces();
}

Clip read(const std::string& path) { return Reader(path).readAll(); }

}  // namespace clip
