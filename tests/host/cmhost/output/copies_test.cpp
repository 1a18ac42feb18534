// Copied streams, in containers with special rules for them.
#include <gtest/gtest.h>

extern "C" {
#include <libavformat/avformat.h>
}

#include <cstring>
#include <memory>
#include <stdexcept>

#include "tests/host/cmhost/fixtures/clip.h"
#include "tests/host/cmhost/fixtures/program.h"

namespace {

using clip::Bytes;
using clip::Clip;

struct InputFree {
  void operator()(AVFormatContext* format) const { avformat_close_input(&format); }
};
using InputPtr = std::unique_ptr<AVFormatContext, InputFree>;

InputPtr open(const std::string& path) {
  AVFormatContext* format = nullptr;
  if (avformat_open_input(&format, path.c_str(), nullptr, nullptr) < 0 ||
      avformat_find_stream_info(format, nullptr) < 0)
    throw std::runtime_error("cannot read " + path);
  return InputPtr(format);
}

// Copies the streams of `inputs` into one file. If `attachment` is not empty, attaches it the given
// number of times.
void join(const std::vector<std::string>& inputs, const std::string& output,
          const std::string& attachment = {}, AVCodecID kind = AV_CODEC_ID_NONE,
          const char* mimeType = "", int attachments = 1) {
  AVFormatContext* to = nullptr;
  avformat_alloc_output_context2(&to, nullptr, nullptr, output.c_str());
  std::vector<InputPtr> from;
  for (const std::string& input : inputs) {
    from.push_back(open(input));
    for (unsigned int i = 0; i < from.back()->nb_streams; ++i) {
      AVStream* const stream = avformat_new_stream(to, nullptr);
      avcodec_parameters_copy(stream->codecpar, from.back()->streams[i]->codecpar);
      stream->codecpar->codec_tag = 0;
      stream->avg_frame_rate = from.back()->streams[i]->avg_frame_rate;
    }
  }
  for (int i = 0; i < attachments && !attachment.empty(); ++i) {
    AVStream* const stream = avformat_new_stream(to, nullptr);
    stream->codecpar->codec_type = AVMEDIA_TYPE_ATTACHMENT;
    stream->codecpar->codec_id = kind;
    stream->codecpar->extradata_size = static_cast<int>(attachment.size());
    stream->codecpar->extradata =
        static_cast<std::uint8_t*>(av_mallocz(attachment.size() + AV_INPUT_BUFFER_PADDING_SIZE));
    std::memcpy(stream->codecpar->extradata, attachment.data(), attachment.size());
    av_dict_set(&stream->metadata, "filename", "attached", 0);
    av_dict_set(&stream->metadata, "mimetype", mimeType, 0);
  }
  if (avio_open(&to->pb, output.c_str(), AVIO_FLAG_WRITE) < 0 ||
      avformat_write_header(to, nullptr) < 0)
    throw std::runtime_error("cannot write " + output);
  AVPacket* packet = av_packet_alloc();
  int first = 0;
  for (const InputPtr& input : from) {
    while (av_read_frame(input.get(), packet) >= 0) {
      const AVRational timeBase = input->streams[packet->stream_index]->time_base;
      packet->stream_index += first;
      packet->pos = -1;
      av_packet_rescale_ts(packet, timeBase, to->streams[packet->stream_index]->time_base);
      av_interleaved_write_frame(to, packet);
    }
    first += static_cast<int>(input->nb_streams);
  }
  av_packet_free(&packet);
  av_write_trailer(to);
  avio_closep(&to->pb);
  avformat_free_context(to);
}

// The second stream of a file.
struct Sound {
  double headerSeconds = 0;  ///< its length according to the header of an AVI file
  double end = 0;            ///< of the last packet, in seconds
  int packets = 0;
  Bytes bytes;
};

Sound readSound(const std::string& path) {
  const InputPtr input = open(path);
  const AVStream& stream = *input->streams[1];
  const double unit = av_q2d(stream.time_base);
  Sound sound;
  sound.headerSeconds = static_cast<double>(stream.nb_frames) * unit;
  AVPacket* packet = av_packet_alloc();
  while (av_read_frame(input.get(), packet) >= 0) {
    if (packet->stream_index == 1) {
      sound.end = static_cast<double>(packet->pts + packet->duration) * unit;
      sound.bytes.insert(sound.bytes.end(), packet->data, packet->data + packet->size);
      ++sound.packets;
    }
    av_packet_unref(packet);
  }
  av_packet_free(&packet);
  return sound;
}

class Copies : public testing::Test {
 protected:
  void writeClip(const std::string& name, const std::string& encoder, bool audio = false,
                 int side = 160) {
    Clip clip;
    clip.encoder = encoder;
    const bool jpeg = encoder == "mjpeg";
    clip.pictures = clip::drawMany(jpeg ? AV_PIX_FMT_YUVJ420P : AV_PIX_FMT_YUV420P, side, 120, 8);
    if (audio) clip.audio = clip::tone(8);
    clip::write(folder / name, clip);
  }

  void run(const std::string& input, const std::string& output,
           std::vector<std::string> options = {}) {
    options.insert(options.end(), {input, output});
    last = program::run(folder.path(), options);
    ASSERT_EQ(last.exitCode, 0) << last.err;
  }

  bool warned() const { return last.err.find("warning") != std::string::npos; }

  program::Folder folder;
  program::Result last;
};

TEST_F(Copies, SoundGoesIntoMxf) {
  writeClip("in.mkv", "ffv1", true);
  run("in.mkv", "out.mxf");
  EXPECT_FALSE(warned()) << last.err;
  Bytes expected;
  Bytes found;
  for (const clip::Packet& packet : clip::tone(8))
    expected.insert(expected.end(), packet.data.begin(), packet.data.end());
  for (const clip::Packet& packet : clip::read(folder / "out.mxf").audio)
    found.insert(found.end(), packet.data.begin(), packet.data.end());
  EXPECT_EQ(found, expected);
}

TEST_F(Copies, SoundThatATransportStreamHasNoNameForIsEncoded) {
  writeClip("in.mkv", "ffv1", true);
  run("in.mkv", "out.ts");
  EXPECT_FALSE(warned()) << last.err;
  const InputPtr output = open(folder / "out.ts");
  ASSERT_EQ(output->nb_streams, 2U);
  EXPECT_EQ(output->streams[1]->codecpar->codec_id, AV_CODEC_ID_MP2);
}

TEST_F(Copies, AttachedFontStaysAttached) {
  writeClip("plain.mkv", "ffv1");
  const std::string font = "not really a font";
  join({folder / "plain.mkv"}, folder / "in.mkv", font, AV_CODEC_ID_TTF,
       "application/x-truetype-font");
  run("in.mkv", "out.mkv");
  EXPECT_FALSE(warned()) << last.err;
  const InputPtr output = open(folder / "out.mkv");
  ASSERT_EQ(output->nb_streams, 2U);
  const AVCodecParameters& parameters = *output->streams[1]->codecpar;
  EXPECT_EQ(parameters.codec_type, AVMEDIA_TYPE_ATTACHMENT);
  EXPECT_EQ(parameters.codec_id, AV_CODEC_ID_TTF);
  EXPECT_EQ(std::string(parameters.extradata, parameters.extradata + parameters.extradata_size),
            font);
  run("in.mkv", "out.mov");
  EXPECT_NE(last.err.find("stream 1 (attachment, ttf) is not copied"), std::string::npos)
      << last.err;
}

// Attachments do not affect whether a stream is copied.
TEST_F(Copies, ManyAttachmentsTakeLittleTime) {
  constexpr int many = 900;
  writeClip("plain.mkv", "ffv1");
  join({folder / "plain.mkv"}, folder / "in.mkv", std::string(50000, 'x'), AV_CODEC_ID_TTF,
       "application/x-truetype-font", many);
  run("in.mkv", "out.mkv");
  EXPECT_EQ(open(folder / "out.mkv")->nb_streams, 1U + many);
  EXPECT_LT(last.processorSeconds, 15);
}

TEST_F(Copies, CoverStaysACover) {
  writeClip("plain.mkv", "ffv1");
  writeClip("cover.avi", "mjpeg", false, 96);
  const InputPtr pictures = open(folder / "cover.avi");
  AVPacket* packet = av_packet_alloc();
  ASSERT_EQ(av_read_frame(pictures.get(), packet), 0);
  const std::string cover(packet->data, packet->data + packet->size);
  av_packet_free(&packet);
  join({folder / "plain.mkv"}, folder / "in.mkv", cover, AV_CODEC_ID_MJPEG, "image/jpeg");
  run("in.mkv", "out.mkv");
  EXPECT_FALSE(warned()) << last.err;
  const InputPtr output = open(folder / "out.mkv");
  ASSERT_EQ(output->nb_streams, 2U);
  EXPECT_NE(output->streams[1]->disposition & AV_DISPOSITION_ATTACHED_PIC, 0);
  const AVPacket& kept = output->streams[1]->attached_pic;
  EXPECT_EQ(std::string(kept.data, kept.data + kept.size), cover);
}

TEST_F(Copies, SecondVideoIsCopiedOrLeftOutAndToldOf) {
  writeClip("first.mp4", "libx264");
  writeClip("second.mp4", "libx264", false, 96);
  join({folder / "first.mp4", folder / "second.mp4"}, folder / "in.mkv");
  run("in.mkv", "out.mkv", {"--keep-other-video"});
  EXPECT_NE(last.err.find("stream 1 (video, h264) is copied without the mark"), std::string::npos)
      << last.err;
  const InputPtr output = open(folder / "out.mkv");
  ASSERT_EQ(output->nb_streams, 2U);
  EXPECT_EQ(output->streams[1]->codecpar->codec_id, AV_CODEC_ID_H264);
  EXPECT_EQ(output->streams[1]->codecpar->width, 96);
  run("in.mkv", "out.avi", {"--keep-other-video"});  // supports only another form of H.264
  EXPECT_NE(last.err.find("stream 1 (video, h264) is not copied"), std::string::npos) << last.err;
  EXPECT_EQ(open(folder / "out.avi")->nb_streams, 1U);
}

// AVI stores no time stamps: the length of the sound follows from the sizes and the rate in the
// header, which are different for packets of varying size, blocks and samples.
TEST_F(Copies, SoundFromAviKeepsItsLength) {
  for (const std::string sound : {"aac", "mp2", "libmp3lame", "ac3", "eac3", "adpcm_ima_wav",
                                  "adpcm_ms", "pcm_s16le", "pcm_s24le"}) {
    SCOPED_TRACE(sound);
    program::ffmpeg(folder.path(),
                    "-f lavfi -i testsrc2=size=160x120:rate=25 -f lavfi -i sine -t 4 -pix_fmt "
                    "yuv420p -c:v mpeg4 -c:a " +
                        sound + " in.avi");
    last = program::run(folder.path(), {"--overwrite", "in.avi", "out.avi"});
    ASSERT_EQ(last.exitCode, 0) << last.err;
    const Sound in = readSound(folder / "in.avi");
    const Sound out = readSound(folder / "out.avi");
    EXPECT_NEAR(out.headerSeconds, 4, 0.1);
    EXPECT_NEAR(out.end, 4, 0.1);
    EXPECT_EQ(out.packets, in.packets);
    EXPECT_TRUE(out.bytes == in.bytes);
  }
}

// Other containers store time stamps, but no block size.
TEST_F(Copies, SoundIntoAviKeepsItsLength) {
  for (const std::string sound : {"aac", "mp2", "libmp3lame", "ac3", "eac3"}) {
    SCOPED_TRACE(sound);
    program::ffmpeg(folder.path(),
                    "-f lavfi -i testsrc2=size=160x120:rate=25 -f lavfi -i sine -t 4 -pix_fmt "
                    "yuv420p -c:v mpeg4 -c:a " +
                        sound + " in.mkv");
    last = program::run(folder.path(), {"--overwrite", "in.mkv", "out.avi"});
    ASSERT_EQ(last.exitCode, 0) << last.err;
    const Sound out = readSound(folder / "out.avi");
    EXPECT_NEAR(out.headerSeconds, 4, 0.1);
    EXPECT_TRUE(out.bytes == readSound(folder / "in.mkv").bytes);
  }
}

TEST_F(Copies, TimeCodeTrackIsNotSaidToBeMissing) {
  program::ffmpeg(folder.path(),
                  "-f lavfi -i testsrc2=size=160x120:rate=25 -t 1 -pix_fmt yuv420p -c:v mpeg4 "
                  "-timecode 01:02:03:04 in.mov");
  for (const std::string name : {"out.mov", "out.mp4", "out.mkv", "out.nut"}) {
    SCOPED_TRACE(name);
    run("in.mov", name);
    EXPECT_FALSE(warned()) << last.err;
    EXPECT_NE(program::probe(folder.path(), name, "stream_tags=timecode").find("01:02:03:04"),
              std::string::npos);
  }
  run("in.mov", "out.avi");
  EXPECT_NE(last.err.find("stream 1 (data"), std::string::npos) << last.err;
}

TEST_F(Copies, ChapterTrackIsNotSaidToBeMissing) {
  program::writeFile(folder / "chapters",
                     ";FFMETADATA1\n"
                     "[CHAPTER]\nTIMEBASE=1/1000\nSTART=0\nEND=400\ntitle=one\n"
                     "[CHAPTER]\nTIMEBASE=1/1000\nSTART=400\nEND=1000\ntitle=two\n");
  const auto chapters = [this](const std::string& name) {
    return program::probe(folder.path(), name, "chapter=start_time,end_time:chapter_tags=title");
  };
  for (const std::string in : {"in.mov", "in.mp4"}) {
    program::ffmpeg(folder.path(),
                    "-f lavfi -i testsrc2=size=160x120:rate=25 -i chapters -map 0 -map_metadata 1 "
                    "-t 1 -pix_fmt yuv420p -c:v mpeg4 " +
                        in);
    for (const std::string out : {"out.mov", "out.mp4", "out.mkv", "out.nut"}) {
      SCOPED_TRACE(testing::Message() << in << " to " << out);
      last = program::run(folder.path(), {"--overwrite", in, out});
      ASSERT_EQ(last.exitCode, 0) << last.err;
      EXPECT_FALSE(warned()) << last.err;
      EXPECT_EQ(chapters(out), chapters(in));
    }
    last = program::run(folder.path(), {"--overwrite", in, "out.avi"});  // has no chapters
    EXPECT_NE(last.err.find("stream 1 (data, bin_data) is not copied"), std::string::npos)
        << last.err;
  }
}

TEST_F(Copies, WarnsOfDroppedAlpha) {
  program::ffmpeg(folder.path(),
                  "-f lavfi -i testsrc2=size=160x120:rate=25,format=yuva420p -t 0.2 -c:v libvpx "
                  "-auto-alt-ref 0 in.webm");
  ASSERT_NE(program::probe(folder.path(), "in.webm", "stream_tags=alpha_mode").find("=1"),
            std::string::npos);
  run("in.webm", "out.webm");
  EXPECT_NE(last.err.find("the alpha channel of the video is dropped"), std::string::npos)
      << last.err;
  EXPECT_EQ(program::probe(folder.path(), "out.webm", "stream_tags=alpha_mode"), "");
  program::ffmpeg(folder.path(),
                  "-f lavfi -i color=red@0.5:size=160x120,format=rgba -t 0.2 -c:v png in.mov");
  last = program::run(folder.path(), {"--convert", "Y44P", "in.mov", "out.mkv"});
  EXPECT_NE(last.err.find("the alpha channel of the video is dropped"), std::string::npos)
      << last.err;
}

}  // namespace
