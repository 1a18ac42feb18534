// Text subtitles in containers with another format for them.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/host/cmhost/fixtures/program.h"

namespace {

class Subtitles : public testing::Test {
 protected:
  void write(const std::string& name, const std::string& codec) {
    program::writeFile(folder / "in.srt",
                       "1\n00:00:00,500 --> 00:00:01,500\none <i>word</i>\n\n"
                       "2\n00:00:02,000 --> 00:00:02,800\ntwo\nlines\n\n");
    program::ffmpeg(folder.path(),
                    "-f lavfi -i testsrc2=size=160x128:rate=25 -i in.srt -t 3 -pix_fmt yuv420p "
                    "-c:v mpeg4 -g 100 -metadata:s:s:0 language=ger -c:s " +
                        codec + " " + name);
  }

  void run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "--overwrite");
    last = program::run(folder.path(), arguments);
    ASSERT_EQ(last.exitCode, 0) << last.err;
  }

  // The subtitles in the time of the video.
  std::string text(const std::string& name) {
    std::string srt = program::ffmpeg(folder.path(), "-i " + name + " -map 0:s -f srt -");
    srt.erase(std::remove(srt.begin(), srt.end(), '\r'), srt.end());
    return srt;
  }

  std::string codec(const std::string& name) {
    return program::probe(folder.path(), name, "stream=codec_name -select_streams s");
  }

  program::Folder folder;
  program::Result last;
};

constexpr const char* expected =
    "1\n00:00:00,500 --> 00:00:01,500\none <i>word</i>\n\n"
    "2\n00:00:02,000 --> 00:00:02,800\ntwo\nlines\n\n";

TEST_F(Subtitles, AreConvertedToTheFormatOfTheContainer) {
  struct Case {
    const char* in;
    const char* inCodec;
    const char* out;
    const char* outCodec;
  };
  for (const Case& each : {Case{"in.mkv", "subrip", "out.mp4", "mov_text"},
                           Case{"in.mkv", "ass", "out.mov", "mov_text"},
                           Case{"in.mkv", "subrip", "out.webm", "webvtt"},
                           Case{"in.mp4", "mov_text", "out.mkv", "ass"},
                           Case{"in.mp4", "mov_text", "out.webm", "webvtt"},
                           Case{"in.mkv", "webvtt", "out.mp4", "mov_text"}}) {
    SCOPED_TRACE(testing::Message() << each.inCodec << " to " << each.out);
    write(each.in, each.inCodec);
    run({each.in, each.out});
    EXPECT_NE(last.err.find(std::string("stream 1 (subtitle, ") + each.inCodec +
                            ") is converted to " + each.outCodec),
              std::string::npos)
        << last.err;
    EXPECT_EQ(last.err.find("warning"), std::string::npos) << last.err;
    EXPECT_EQ(codec(each.out), std::string("codec_name=") + each.outCodec + "\n");
    EXPECT_EQ(text(each.out), expected);
    EXPECT_NE(program::probe(folder.path(), each.out, "stream_tags=language").find("ger"),
              std::string::npos);
  }
}

TEST_F(Subtitles, AreCopiedWhereTheContainerTakesThem) {
  write("in.mkv", "subrip");
  run({"in.mkv", "out.mkv"});
  EXPECT_EQ(codec("out.mkv"), "codec_name=subrip\n");
  EXPECT_EQ(last.err.find("converted"), std::string::npos) << last.err;
}

TEST_F(Subtitles, OfAPartAreCutToIt) {
  write("in.mkv", "subrip");
  run({"--start", "1", "--frames", "30", "in.mkv", "out.mp4"});
  EXPECT_EQ(text("out.mp4"),
            "1\n00:00:00,000 --> 00:00:00,500\none <i>word</i>\n\n"
            "2\n00:00:01,000 --> 00:00:01,200\ntwo\nlines\n\n");
}

}  // namespace
