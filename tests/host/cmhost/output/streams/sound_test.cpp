// Sound that is encoded because the container does not support its codec, or on request.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <sstream>

#include "tests/host/cmhost/fixtures/program.h"

namespace {

constexpr const char* picture =
    "-f lavfi -i testsrc2=size=160x128:rate=25 -pix_fmt yuv420p -c:v mpeg2video ";

class Sound : public testing::Test {
 protected:
  // A video with sound from this lavfi graph, in this codec.
  void write(const std::string& name, const std::string& graph, const std::string& codec,
             const std::string& more = "-t 3") {
    program::ffmpeg(folder.path(), "-f lavfi -i \"" + graph + "\" " + picture + "-c:a " + codec +
                                       " " + more + " " + name);
  }

  void run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "--overwrite");
    last = program::run(folder.path(), arguments);
    ASSERT_EQ(last.exitCode, 0) << last.err;
  }

  std::string probe(const std::string& name, const std::string& entries) {
    return program::probe(folder.path(), name, entries + " -select_streams a");
  }

  double number(const std::string& name, const std::string& entry, const std::string& stream) {
    const std::string text =
        program::probe(folder.path(), name, entry + " -select_streams " + stream);
    return std::stod(text.substr(text.find('=') + 1));
  }

  // The sound from time 0 on; a gap is silent.
  std::vector<float> heard(const std::string& name) {
    program::ffmpeg(folder.path(), "-copyts -i " + name +
                                       " -map 0:a:0 -af aresample=8000:async=1:first_pts=0 -ac 1 "
                                       "-f f32le heard");
    const std::string bytes = program::readFile(folder / "heard");
    std::vector<float> samples(bytes.size() / sizeof(float));
    std::memcpy(samples.data(), bytes.data(), samples.size() * sizeof(float));
    return samples;
  }

  // The times from the start of the video at which the sound begins or ends, to within 10 ms.
  std::vector<double> edges(const std::string& name) {
    constexpr std::size_t window = 80;
    const std::vector<float> samples = heard(name);
    const double start = number(name, "stream=start_time", "v:0");
    std::vector<double> all;
    bool isLoud = false;
    for (std::size_t i = 0; i + window <= samples.size(); i += window) {
      float peak = 0;
      for (std::size_t j = i; j < i + window; ++j) peak = std::max(peak, std::abs(samples[j]));
      if ((peak > 0.1F) == isLoud) continue;
      isLoud = !isLoud;
      all.push_back(static_cast<double>(i) / 8000 - start);
    }
    return all;
  }

  void expectEdges(const std::string& name, const std::vector<double>& expected,
                   double tolerance = 0.03) {
    const std::vector<double> found = edges(name);
    ASSERT_EQ(found.size(), expected.size()) << name;
    for (std::size_t i = 0; i < found.size(); ++i)
      EXPECT_NEAR(found[i], expected[i], tolerance) << name;
  }

  bool says(const std::string& text) const { return last.err.find(text) != std::string::npos; }

  program::Folder folder;
  program::Result last;
};

constexpr const char* burst = "aevalsrc=0.5*sin(2*PI*440*t)*between(t\\,1\\,2):s=44100";

TEST_F(Sound, IsEncodedWithTheUsualEncoderOfTheContainer) {
  write("in.avi", "aevalsrc=0.5*sin(2*PI*440*t)*between(t\\,1\\,2):s=22050", "adpcm_ima_wav");
  struct Case {
    const char* name;
    const char* codec;
    int rate;
  };
  for (const Case& each : {Case{"out.mp4", "aac", 22050}, Case{"out.mov", "aac", 22050},
                           Case{"out.webm", "opus", 48000}, Case{"out.ts", "mp2", 22050},
                           Case{"out.mpg", "mp2", 22050}, Case{"out.mxf", "pcm_s16le", 48000},
                           Case{"out.flv", "mp3", 22050}, Case{"out.ogv", "vorbis", 22050}}) {
    SCOPED_TRACE(each.name);
    run({"in.avi", each.name});
    EXPECT_TRUE(says(std::string("stream 1 (audio, adpcm_ima_wav) is encoded (") + each.codec))
        << last.err;
    EXPECT_FALSE(says("warning")) << last.err;
    EXPECT_FALSE(says("left out")) << last.err;
    EXPECT_NE(probe(each.name, "stream=codec_name").find(each.codec), std::string::npos);
    EXPECT_NE(probe(each.name, "stream=sample_rate").find(std::to_string(each.rate)),
              std::string::npos);
    expectEdges(each.name, {1, 2}, 0.05);
  }
}

TEST_F(Sound, HasTheTimesThatTheUsualProgramGivesIt) {
  write("in.mkv", burst, "flac", "-t 3 -shortest");
  for (const std::string name : {"out.mp4", "out.webm", "out.ts"}) {
    SCOPED_TRACE(name);
    run({"--audio", "encode", "in.mkv", name});
    program::ffmpeg(folder.path(), "-i in.mkv -muxdelay 0 -muxpreload 0 usual-" + name);
    expectEdges(name, edges("usual-" + name), 0.0101);
    const auto startOfSound = [this](const std::string& file) {
      return number(file, "stream=start_time", "a") - number(file, "stream=start_time", "v");
    };
    EXPECT_NEAR(startOfSound(name), startOfSound("usual-" + name), 0.001);
    const auto packets = [this](const std::string& file) {
      return number(file, "stream=nb_read_packets -count_packets", "a");
    };
    EXPECT_NEAR(packets(name), packets("usual-" + name), 1);
  }
}

TEST_F(Sound, ThatStartsLateStaysLate) {
  write("in.mkv", "sine=frequency=440:sample_rate=44100,volume=4", "flac", "-t 1.5");
  program::ffmpeg(folder.path(),
                  "-i in.mkv -itsoffset 0.7 -i in.mkv -map 0:v -map 1:a -c copy late.mkv");
  for (const std::string name : {"out.mp4", "out.ts"}) {
    SCOPED_TRACE(name);
    run({"--audio", "encode", "late.mkv", name});
    const std::vector<double> found = edges(name);
    ASSERT_GE(found.size(), 1U);
    EXPECT_NEAR(found[0], 0.7, 0.04);
  }
}

TEST_F(Sound, KeepsItsGaps) {
  write("in.mkv", "sine=frequency=440:sample_rate=44100,volume=4", "flac",
        "-af \"aselect='not(between(t,1,1.8))'\" -t 3");
  run({"--audio", "encode", "in.mkv", "out.mp4"});
  const std::vector<double> found = edges("out.mp4");
  ASSERT_GE(found.size(), 3U);
  EXPECT_NEAR(found[1], 1, 0.06);  // the filter drops complete frames
  EXPECT_NEAR(found[2], 1.8, 0.06);
}

// Six channels, a sample rate that the encoder lacks, a format that it lacks.
TEST_F(Sound, IsConvertedWhereTheEncoderDemandsIt) {
  write("in.mkv", "aevalsrc=0.5*sin(2*PI*440*t)*between(t\\,1\\,2)|0|0|0|0|0:s=96000:c=5.1(side)",
        "pcm_s24le");
  struct Case {
    const char* name;
    const char* codec;
    const char* rate;
    const char* channels;
  };
  for (const Case& each :
       {Case{"out.mp4", "aac", "96000", "6"}, Case{"out.webm", "opus", "48000", "6"},
        Case{"out.ts", "mp2", "48000", "2"}}) {
    SCOPED_TRACE(each.name);
    run({"--audio", "encode", "in.mkv", each.name});
    EXPECT_NE(probe(each.name, "stream=codec_name").find(each.codec), std::string::npos);
    EXPECT_NE(probe(each.name, "stream=sample_rate").find(each.rate), std::string::npos);
    EXPECT_NE(probe(each.name, "stream=channels").find(each.channels), std::string::npos);
    const std::vector<float> samples = heard(each.name);
    EXPECT_NEAR(static_cast<double>(samples.size()), 3 * 8000, 8000 * 0.06);
  }
}

TEST_F(Sound, IsCopiedByDefaultAndEncodedOrLeftOutOnRequest) {
  write("in.mkv", burst, "aac");
  run({"in.mkv", "out.mp4"});
  EXPECT_FALSE(says("encoded")) << last.err;
  const auto packets = [this](const std::string& name) { return probe(name, "packet=size"); };
  EXPECT_EQ(packets("out.mp4"), packets("in.mkv"));
  run({"--audio", "copy", "in.mkv", "out.mp4"});
  EXPECT_EQ(packets("out.mp4"), packets("in.mkv"));
  run({"--audio", "encode", "in.mkv", "out.mp4"});
  EXPECT_TRUE(says("stream 1 (audio, aac) is encoded (aac, 44100 Hz, mono, 128 kb/s)")) << last.err;
  EXPECT_NE(packets("out.mp4"), packets("in.mkv"));
  run({"--audio", "none", "in.mkv", "out.mp4"});
  EXPECT_EQ(probe("out.mp4", "stream=codec_name"), "");
  EXPECT_FALSE(says("warning")) << last.err;
  EXPECT_NE(last.lastMessage().find("; left out: stream 1 (audio, aac)"), std::string::npos)
      << last.err;
}

TEST_F(Sound, OfAPartIsThatOfThePart) {
  write("in.mkv", "aevalsrc=0.5*sin(2*PI*440*t)*between(t\\,2\\,2.5):s=44100", "flac", "-t 4");
  run({"--audio", "encode", "--start", "1", "--frames", "50", "in.mkv", "out.mp4"});
  expectEdges("out.mp4", {1, 1.5});
  EXPECT_NEAR(static_cast<double>(heard("out.mp4").size()), 2 * 8000, 8000 * 0.25);
}

TEST_F(Sound, OfEqualRunsIsEqual) {
  write("in.mkv", burst, "flac");
  for (const std::string extension : {".mp4", ".webm", ".ogv"}) {
    run({"--audio", "encode", "in.mkv", "one" + extension});
    run({"--audio", "encode", "in.mkv", "two" + extension});
    EXPECT_EQ(program::readFile(folder / ("one" + extension)),
              program::readFile(folder / ("two" + extension)));
  }
}

// Tags and the language stay with the stream.
TEST_F(Sound, KeepsItsLanguage) {
  write("in.mkv", burst, "flac", "-t 1 -metadata:s:a:0 language=ger");
  run({"--audio", "encode", "in.mkv", "out.mp4"});
  EXPECT_NE(probe("out.mp4", "stream_tags=language").find("=ger"), std::string::npos);
}

TEST_F(Sound, ThatIsDamagedEndsTheRunWhenItIsDecoded) {
  write("in.mkv", "anoisesrc=r=44100:a=0.5", "flac");
  std::istringstream places(probe("in.mkv", "packet=pos"));
  std::vector<std::size_t> all;
  for (std::string line; std::getline(places, line);)
    if (line.rfind("pos=", 0) == 0) all.push_back(std::stoul(line.substr(4)));
  ASSERT_GT(all.size(), 20U);
  std::string bytes = program::readFile(folder / "in.mkv");
  for (std::size_t i = 0; i < 40; ++i) bytes[all[10] + 200 + i] ^= 0x55;
  program::writeFile(folder / "damaged.mkv", bytes);
  run({"damaged.mkv", "out.mkv"});  // copied, and not decoded
  last = program::run(folder.path(), {"--audio", "encode", "damaged.mkv", "out.mp4"});
  program::expectError(last, 1, "damaged.mkv: damaged or truncated: stream 1 (audio, flac): ");
  EXPECT_EQ(folder.names(), (std::vector<std::string>{"damaged.mkv", "in.mkv", "out.mkv"}));
  last = program::run(folder.path(), {"--conceal", "--audio", "encode", "damaged.mkv", "out.mp4"});
  EXPECT_EQ(last.exitCode, 3) << last.err;
  EXPECT_TRUE(says("damaged: concealed ") && says("stream 1 (audio, flac): ")) << last.err;
  EXPECT_NEAR(static_cast<double>(heard("out.mp4").size()), 3 * 8000, 8000 * 0.06);
}

}  // namespace
