// --rate, and frame rates that an encoder or a container lacks.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "tests/host/cmhost/fixtures/program.h"

namespace {

class FrameRate : public testing::Test {
 protected:
  // Two seconds with sound.
  void make(const std::string& rate, const std::string& size = "128x96") {
    program::ffmpeg(folder.path(), "-f lavfi -i testsrc2=size=" + size + ":rate=" + rate +
                                       " -f lavfi -i sine -t 2 -pix_fmt yuv420p -c:v ffv1 "
                                       "-c:a pcm_s16le -y in.mkv");
  }

  program::Result run(std::vector<std::string> options, const std::string& output) {
    options.insert(options.end(), {"--overwrite", "in.mkv", output});
    return program::run(folder.path(), options);
  }

  static double valueOf(const std::string& fraction) {
    const std::size_t slash = fraction.find('/');
    return std::stod(fraction) /
           (slash == std::string::npos ? 1 : std::stod(fraction.substr(slash + 1)));
  }

  // Some containers round it.
  void expectRate(const std::string& file, const std::string& rate) {
    const std::string key = "avg_frame_rate=";
    const std::string found =
        program::probe(folder.path(), file, "stream=avg_frame_rate -select_streams v:0");
    ASSERT_EQ(found.rfind(key, 0), 0U) << found;
    EXPECT_NEAR(valueOf(found.substr(key.size())), valueOf(rate), 1e-4) << file;
  }

  std::ptrdiff_t framesIn(const std::string& file) {
    const std::string frames =
        program::ffmpeg(folder.path(), "-i " + file + " -map 0:v -vsync passthrough -f framemd5 -");
    std::ptrdiff_t count = 0;
    for (std::size_t at = 0; at < frames.size(); at = frames.find('\n', at) + 1)
      count += frames[at] != '#' ? 1 : 0;
    return count;
  }

  program::Folder folder;
};

TEST_F(FrameRate, IsThatOfTheCommandLine) {
  make("25");
  const struct {
    const char *rate, *probed;
    int frames;
  } cases[] = {
      {"50", "50/1", 100},         {"12.5", "25/2", 25},         {"30000/1001", "30000/1001", 60},
      {"29.97", "30000/1001", 60}, {"23.976", "24000/1001", 48}, {"23.98", "24000/1001", 48},
      {"59.94", "60000/1001", 120}};
  for (const auto& each : cases) {
    SCOPED_TRACE(each.rate);
    for (const char* const output : {"out.mkv", "out.mp4", "out.avi", "out.y4m"}) {
      const program::Result result = run({"--lossless", "--rate", each.rate}, output);
      ASSERT_EQ(result.exitCode, 0) << result.err;
      expectRate(output, each.probed);
      EXPECT_EQ(framesIn(output), each.frames) << output;
      EXPECT_EQ(result.err.find("warning: time stamps"), std::string::npos) << result.err;
    }
  }
}

TEST_F(FrameRate, FramesAreCountedInANote) {
  make("25");
  EXPECT_NE(run({"--lossless", "--rate", "50"}, "out.nut")
                .err.find("cmhost: frame rate: repeated 50 frames, dropped 0 frames\n"),
            std::string::npos);
  EXPECT_NE(run({"--lossless", "--rate", "12.5"}, "out.nut")
                .err.find("cmhost: frame rate: repeated 0 frames, dropped 25 frames\n"),
            std::string::npos);
  EXPECT_EQ(run({"-q", "--rate", "50"}, "out.mkv").err, "");
}

TEST_F(FrameRate, NearestIsUsedWhereTheEncoderLacksIt) {
  const struct {
    const char *rate, *output, *probed, *note;
    int frames;
  } cases[] = {
      {"29.9", "out.mpg", "30000/1001",
       "cmhost: mpeg2video in mpeg does not support 29.9 (299/10) frames per second; frames are "
       "repeated or dropped for 29.97 (30000/1001), choose another with --rate\n",
       60},
      {"26", "out.ts", "25/1",
       "mpeg2video in mpegts does not support 26 frames per second; frames are repeated or dropped "
       "for 25,",
       50},
      {"15", "out.mxf", "24000/1001",
       "mpeg2video in mxf does not support 15 frames per second; frames are repeated or dropped "
       "for "
       "23.976 (24000/1001),",
       48},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.output);
    make(each.rate);
    const program::Result result = run({}, each.output);
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_NE(result.err.find(each.note), std::string::npos) << result.err;
    expectRate(each.output, each.probed);
    EXPECT_EQ(framesIn(each.output), each.frames);
  }
}

TEST_F(FrameRate, NearestIsUsedForDv) {
  make("24", "720x576");
  const program::Result result = run({"--encoder", "dvvideo"}, "out.avi");
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_NE(result.err.find("dvvideo in avi does not support 24 frames per second"),
            std::string::npos);
  EXPECT_EQ(framesIn("out.avi"), 50);
}

// The sound of a telephone's clip with varying rate stays in step to the end.
TEST_F(FrameRate, SoundStaysInStep) {
  make("30");
  program::ffmpeg(
      folder.path(),
      "-i in.mkv -vf setpts='PTS+0.3*N*gt(N\\,20)/30/TB' -vsync vfr -c:v ffv1 -c:a copy "
      "vfr.mkv");
  std::filesystem::rename(folder / "vfr.mkv", folder / "in.mkv");
  const auto end = [this](const std::string& file) {
    const std::string times =
        program::probe(folder.path(), file, "packet=pts_time -select_streams v:0");
    return std::stod(times.substr(times.rfind("pts_time=") + 9));
  };
  const auto begin = [this](const std::string& file) {
    const std::string times =
        program::probe(folder.path(), file, "packet=pts_time -select_streams v:0");
    return std::stod(times.substr(9));
  };
  const double expected = end("in.mkv") - begin("in.mkv");
  EXPECT_GT(expected, 2.2);
  for (const char* const output : {"out.mkv", "out.mp4", "out.avi", "out.nut"}) {
    const program::Result result = run({"--encoder", "mpeg4", "--rate", "25"}, output);
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_NEAR(end(output) - begin(output), expected, 0.05) << output;
  }
}

TEST_F(FrameRate, DigestsAreThoseOfTheMarkedFrames) {
  make("25");
  ASSERT_EQ(run({"--hash", "one.md5"}, "null:").exitCode, 0);
  ASSERT_EQ(run({"--hash", "two.md5", "--rate", "50", "--lossless"}, "out.mkv").exitCode, 0);
  EXPECT_EQ(program::readFile(folder / "one.md5"), program::readFile(folder / "two.md5"));
}

TEST_F(FrameRate, UnsupportedOnesAreRefused) {
  make("25");
  const program::Result result = run({"-q", "--rate", "26"}, "out.mpg");
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_EQ(result.err,
            "cmhost: error: --rate: mpeg2video in mpeg does not support 26 frames per second; the "
            "nearest is 25\n");
  EXPECT_FALSE(std::filesystem::exists(folder / "out.mpg"));
  EXPECT_EQ(run({"--rate", "25"}, "out.mpg").exitCode, 0);
}

TEST_F(FrameRate, ValuesAreChecked) {
  make("25");
  for (const char* const wrong : {"0", "-5", "fast", "", "1/0", "25/", "9999", "1.2.3"}) {
    const program::Result result = run({"--rate", wrong}, "out.mkv");
    EXPECT_EQ(result.exitCode, 2) << wrong;
    EXPECT_EQ(result.err.rfind("cmhost: error: --rate: ", 0), 0U) << result.err;
  }
}

// Rates that are supported are used without a word.
TEST_F(FrameRate, SupportedOnesAreKept) {
  for (const char* const rate : {"24000/1001", "25", "30000/1001", "50", "15"}) {
    make(rate);
    const program::Result result = run({"-q"}, "out.mpg");
    ASSERT_EQ(result.exitCode, 0) << result.err;
    expectRate("out.mpg", rate);
    EXPECT_EQ(run({}, "out.mpg").err.find("repeated"), std::string::npos);
  }
}

}  // namespace
