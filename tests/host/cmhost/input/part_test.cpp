// A part of the input.
#include <gtest/gtest.h>

#include <cmath>

#include "tests/host/cmhost/fixtures/clip.h"
#include "tests/host/cmhost/fixtures/program.h"

namespace {

using clip::Clip;
using program::Folder;
using program::Result;

class Part : public testing::Test {
 protected:
  static constexpr int frames = 50;

  // Two seconds.
  Clip make(const std::string& name, const std::string& encoder) {
    Clip clip;
    clip.encoder = encoder;
    clip.pictures = clip::drawMany(AV_PIX_FMT_YUV420P, 64, 48, frames);
    clip::write(folder / name, clip);
    return clip;
  }

  Result run(std::vector<std::string> options, const std::string& in, const std::string& out) {
    options.insert(options.end(), {"--overwrite", "--module", program::stub("passes_on"), in, out});
    return program::run(folder.path(), options);
  }

  void expectPictures(const std::string& name, const std::vector<clip::Picture>& all,
                      std::size_t from, std::size_t count) {
    const Clip clip = clip::read(folder / name);
    ASSERT_EQ(clip.pictures.size(), count);
    for (std::size_t i = 0; i < count; ++i) {
      EXPECT_TRUE(clip.pictures[i].planes == all[from + i].planes) << i;
      const double seconds = static_cast<double>(clip.pictures[i].pts) * av_q2d(clip.tags.timeBase);
      EXPECT_NEAR(seconds, static_cast<double>(i) / 25, 0.0011) << i;
    }
  }

  Folder folder;
};

TEST_F(Part, FirstFrames) {
  const Clip clip = make("in.mkv", "ffv1");
  ASSERT_EQ(run({"--frames", "7"}, "in.mkv", "out.nut").exitCode, 0);
  expectPictures("out.nut", clip.pictures, 0, 7);
  ASSERT_EQ(run({"--frames", "700"}, "in.mkv", "out.nut").exitCode, 0);
  expectPictures("out.nut", clip.pictures, 0, frames);
}

TEST_F(Part, FromATimeOn) {
  const std::vector<std::pair<const char*, const char*>> files = {
      {"in.mkv", "ffv1"}, {"in.y4m", "wrapped_avframe"}, {"in.nut", "rawvideo"}};
  for (const auto& [name, encoder] : files) {
    SCOPED_TRACE(name);
    const Clip clip = make(name, encoder);
    Result result = run({"--start", "1.2"}, name, "out.nut");
    ASSERT_EQ(result.exitCode, 0) << result.err;
    expectPictures("out.nut", clip.pictures, 30, 20);
    result = run({"--start", "00:00:00.44", "--frames", "3"}, name, "out.nut");
    ASSERT_EQ(result.exitCode, 0) << result.err;
    expectPictures("out.nut", clip.pictures, 11, 3);
  }
}

TEST_F(Part, PicturesBetweenKeyFramesAndInBroadcasts) {
  for (const char* const name : {"in.mp4", "in.ts"}) {
    SCOPED_TRACE(name);
    make(name, "mpeg2video");  // a key frame every twelve frames
    const auto all = clip::read(folder / name).pictures;
    ASSERT_EQ(all.size(), std::size_t{frames});
    const Result result = run({"--start", "0.76", "--frames", "5"}, name, "out.nut");
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const auto part = clip::read(folder / "out.nut").pictures;
    ASSERT_EQ(part.size(), 5U);
    for (std::size_t i = 0; i < 5; ++i) EXPECT_TRUE(part[i].planes == all[19 + i].planes) << i;
  }
}

TEST_F(Part, PipeCannotBeSearchedButSkipped) {
  const Clip clip = make("in.y4m", "wrapped_avframe");
  program::Pipe pipe;
  program::Streams streams;
  streams.in = pipe.readEnd();
  program::Process process(folder.path(),
                           {"--start", "1", "--module", program::stub("passes_on"), "-", "out.nut"},
                           streams);
  pipe.closeReadEnd();
  ASSERT_TRUE(pipe.write(program::readFile(folder / "in.y4m")));
  pipe.closeWriteEnd();
  ASSERT_EQ(process.wait().exitCode, 0);
  expectPictures("out.nut", clip.pictures, 25, 25);
}

TEST_F(Part, NothingLeft) {
  make("in.mkv", "ffv1");
  const Result result = run({"--start", "2.5"}, "in.mkv", "out.nut");
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_NE(result.err.find("in.mkv: --start is after the last frame, which is at 1.960 s"),
            std::string::npos)
      << result.err;
}

TEST_F(Part, SoundGoesWithThePicture) {
  Clip clip;
  clip.encoder = "ffv1";
  clip.pictures = clip::drawMany(AV_PIX_FMT_YUV420P, 64, 48, frames);
  clip.audio = clip::tone(frames);  // one packet per frame
  clip::write(folder / "in.mkv", clip);
  ASSERT_EQ(run({"--start", "0.4", "--frames", "10"}, "in.mkv", "out.mkv").exitCode, 0);
  const Clip part = clip::read(folder / "out.mkv");
  EXPECT_EQ(part.pictures.size(), 10U);
  ASSERT_GE(part.audio.size(), 10U);
  for (std::size_t i = 0; i < 10; ++i) {
    EXPECT_TRUE(part.audio[i].data == clip.audio[10 + i].data) << i;
    EXPECT_NEAR(part.audio[i].seconds, static_cast<double>(i) / 25, 0.0011);
  }
}

// 100 frames at 25 fps with chapters [0, 1), [1, 3) and [3, 4), and a single key frame. A part is
// read from the preceding key frame on, and so are subtitles.
class TimedParts : public Part {
 protected:
  void SetUp() override {
    program::writeFile(folder / "chapters",
                       ";FFMETADATA1\n"
                       "[CHAPTER]\nTIMEBASE=1/1000\nSTART=0\nEND=1000\ntitle=one\n"
                       "[CHAPTER]\nTIMEBASE=1/1000\nSTART=1000\nEND=3000\ntitle=two\n"
                       "[CHAPTER]\nTIMEBASE=1/1000\nSTART=3000\nEND=4000\ntitle=three\n");
    program::writeFile(folder / "cues.srt",
                       "1\n00:00:00,500 --> 00:00:01,200\nfirst\n\n"
                       "2\n00:00:01,400 --> 00:00:02,600\nsecond\n\n"
                       "3\n00:00:03,000 --> 00:00:03,800\nthird\n");
    program::ffmpeg(
        folder.path(),
        "-f lavfi -i testsrc2=size=160x120:rate=25 -i cues.srt -i chapters -map 0 -map 1 "
        "-map_metadata 2 -t 4 -pix_fmt yuv420p -c:v mpeg4 -g 100 -c:s srt in.mkv");
  }

  std::string chapters(const std::string& file) {
    return program::probe(folder.path(), file, "chapter=start_time,end_time:chapter_tags=title");
  }

  std::string cues(const std::string& file) {
    return program::probe(folder.path(), file, "packet=pts_time,duration_time -select_streams s");
  }
};

TEST_F(TimedParts, ChaptersAreShiftedAndCut) {
  ASSERT_EQ(run({}, "in.mkv", "out.mkv").exitCode, 0);
  EXPECT_EQ(chapters("out.mkv"), chapters("in.mkv"));
  ASSERT_EQ(run({"--start", "2"}, "in.mkv", "out.mkv").exitCode, 0);
  EXPECT_EQ(chapters("out.mkv"),
            "start_time=0.000000\nend_time=1.000000\nTAG:title=two\n"
            "start_time=1.000000\nend_time=2.000000\nTAG:title=three\n");
  ASSERT_EQ(run({"--start", "2", "--frames", "20"}, "in.mkv", "out.mkv").exitCode, 0);
  EXPECT_EQ(chapters("out.mkv"), "start_time=0.000000\nend_time=0.800000\nTAG:title=two\n");
  ASSERT_EQ(run({"--frames", "50"}, "in.mkv", "out.mkv").exitCode, 0);
  EXPECT_EQ(chapters("out.mkv"),
            "start_time=0.000000\nend_time=1.000000\nTAG:title=one\n"
            "start_time=1.000000\nend_time=2.000000\nTAG:title=two\n");
}

TEST_F(TimedParts, CuesAreShiftedAndCut) {
  ASSERT_EQ(run({"--start", "2", "--frames", "40"}, "in.mkv", "out.mkv").exitCode, 0);
  EXPECT_EQ(cues("out.mkv"),
            "pts_time=0.000000\nduration_time=0.600000\n"
            "pts_time=1.000000\nduration_time=0.600000\n");
}

// `ffmpeg -t 2` and `-ss 3 -t 3` drop these cues, too.
TEST_F(TimedParts, CuesAtTheEndOrLaterAreDropped) {
  ASSERT_EQ(run({"--frames", "75"}, "in.mkv", "out.mkv").exitCode, 0);  // a cue starts at the end
  EXPECT_EQ(cues("out.mkv"),
            "pts_time=0.500000\nduration_time=0.700000\n"
            "pts_time=1.400000\nduration_time=1.200000\n");
  ASSERT_EQ(run({"--frames", "30"}, "in.mkv", "out.mkv").exitCode, 0);  // one 0.2 s later
  EXPECT_EQ(cues("out.mkv"), "pts_time=0.500000\nduration_time=0.700000\n");
  ASSERT_EQ(run({"--frames", "400"}, "in.mkv", "out.mkv").exitCode, 0);  // ends with the file
  EXPECT_EQ(cues("out.mkv"), cues("in.mkv"));
}

// Packets of a stream are written in order, although the first cue ends last.
TEST_F(TimedParts, CuesThatOverlapStayInOrder) {
  program::writeFile(folder / "long.srt",
                     "1\n00:00:00,100 --> 00:00:03,900\nlong\n\n"
                     "2\n00:00:00,600 --> 00:00:00,900\nshort\n");
  program::ffmpeg(folder.path(), "-i in.mkv -i long.srt -map 0:v -map 1 -c copy overlap.mkv");
  ASSERT_EQ(run({"--frames", "50"}, "overlap.mkv", "out.mkv").exitCode, 0);
  EXPECT_EQ(cues("out.mkv"),
            "pts_time=0.100000\nduration_time=1.900000\n"
            "pts_time=0.600000\nduration_time=0.300000\n");
}

// The first frame after 1.41 s is at 1.44 s: there, a cue begins that is on screen from 1.4 to 2.6
// s. With an earlier time stamp, Matroska would shift the video.
TEST_F(TimedParts, CueStartsWithTheFirstFrame) {
  ASSERT_EQ(run({"--start", "1.41"}, "in.mkv", "out.mkv").exitCode, 0);
  EXPECT_EQ(cues("out.mkv"),
            "pts_time=0.000000\nduration_time=1.160000\n"
            "pts_time=1.560000\nduration_time=0.800000\n");
  EXPECT_EQ(program::probe(folder.path(), "out.mkv",
                           "packet=pts_time -select_streams v -read_intervals %+#1"),
            "pts_time=0.000000\n");
}

// Twenty frames at 25 fps, then five frames per second.
TEST_F(TimedParts, EndsWithTheLastFrameAtAnyRate) {
  program::ffmpeg(folder.path(),
                  "-f lavfi -i testsrc2=size=160x120:rate=25 -i cues.srt -i chapters -map 0 -map 1 "
                  "-map_metadata 2 -t 4 -vf \"select='not(mod(n,5))+lt(n,20)'\" -fps_mode vfr "
                  "-pix_fmt yuv420p -c:v mpeg4 -g 100 -c:s srt in.mkv");
  for (const std::string name : {"out.mkv", "out.mov"}) {
    SCOPED_TRACE(name);
    // From 1 s, frames every 0.2 s; the tenth is at 2.8 s.
    const Result result = run({"--start", "1", "--frames", "10"}, "in.mkv", name);
    ASSERT_EQ(result.exitCode, 0) << result.err;
    // The chapter [1, 3) starts with the part and ends with its last frame.
    const std::string found = chapters(name);
    EXPECT_EQ(found.substr(0, 28), "start_time=0.000000\nend_time") << found;
    const std::string end = "end_time=";
    const double seconds = std::stod(found.substr(found.find(end) + end.size()));
    EXPECT_GT(seconds, 1.8);
    EXPECT_LE(seconds, 2.0);
    EXPECT_EQ(found.find("three"), std::string::npos) << found;
  }
  EXPECT_EQ(cues("out.mkv"),
            "pts_time=0.000000\nduration_time=0.200000\n"
            "pts_time=0.400000\nduration_time=1.200000\n");
}

// Here chapters are written before the video, when the end of the part is unknown.
TEST_F(TimedParts, ChaptersAheadOfTheVideoAreComplete) {
  program::writeFile(
      folder / "piped.mkv",
      program::run(folder.path(), {"--frames", "50", "--output-format", "matroska", "in.mkv", "-"})
          .out);
  EXPECT_EQ(chapters("piped.mkv"), chapters("in.mkv"));
  ASSERT_EQ(run({"--frames", "50"}, "in.mkv", "out.nut").exitCode, 0);
  EXPECT_EQ(chapters("out.nut"), chapters("in.mkv"));
}

TEST_F(TimedParts, TimeCodeCountsOn) {
  for (const std::string rate : {"25", "30000/1001"}) {
    program::ffmpeg(folder.path(),
                    "-f lavfi -i testsrc2=size=160x120:rate=" + rate +
                        " -t 4 -pix_fmt yuv420p -c:v mpeg4 -timecode 00:00:58:00 in.mov");
    for (const std::string name : {"out.mov", "out.mkv"}) {
      SCOPED_TRACE(testing::Message() << rate << " " << name);
      ASSERT_EQ(run({"--start", "3"}, "in.mov", name).exitCode, 0);
      // 75 frames later at 25 fps, 90 at 30 fps.
      EXPECT_NE(program::probe(folder.path(), name, "stream_tags=timecode").find("=00:01:01:00\n"),
                std::string::npos);
    }
  }
}

}  // namespace
