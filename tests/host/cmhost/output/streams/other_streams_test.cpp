// What becomes of the streams other than the marked video, and how the program says so.
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <sstream>

#include "tests/host/cmhost/fixtures/program.h"

namespace {

constexpr const char* small = "-f lavfi -i testsrc2=size=160x128:rate=25 ";
constexpr const char* large = "-f lavfi -i testsrc2=size=320x256:rate=25 ";
constexpr const char* sine = "-f lavfi -i sine ";

class OtherStreams : public testing::Test {
 protected:
  void write(const std::string& words) {
    program::ffmpeg(folder.path(), words + " -pix_fmt yuv420p");
  }

  int runAny(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "--overwrite");
    last = program::run(folder.path(), arguments);
    return last.exitCode;
  }

  void run(const std::vector<std::string>& arguments) {
    ASSERT_EQ(runAny(arguments), 0) << last.err;
  }

  std::string probe(const std::string& name, const std::string& entries) {
    return program::probe(folder.path(), name, entries);
  }

  // "160\n320\n": the widths of the video streams, in the order of the file.
  std::string widths(const std::string& name) {
    std::istringstream lines(probe(name, "stream=width"));
    std::string all;
    for (std::string line; std::getline(lines, line);)
      if (line.rfind("width=", 0) == 0) all += line.substr(6) + "\n";
    return all;
  }

  bool says(const std::string& text) const { return last.err.find(text) != std::string::npos; }

  // Subtitles that are pictures.
  void writePictures(const std::string& name) {
    std::string sup;
    for (char i = 0; i < 4; ++i) {
      sup += std::string("PG\0\0", 4) + static_cast<char>(i * 0x40) + std::string(5, '\0');
      sup += std::string("\x80\0\0", 3);
    }
    program::writeFile(folder / "pictures.sup", sup);
    write(std::string(small) + "-f sup -i pictures.sup -map 0 -map 1 -t 1 -c:v mpeg4 -c:s copy " +
          name);
  }

  // Calls `change` with each tag of a file: its kind (8 is audio), number and bytes.
  void changeTags(const std::string& name,
                  const std::function<void(int kind, int number, char* tag)>& change) {
    std::string bytes = program::readFile(folder / name);
    int numbers[256] = {};
    for (std::size_t at = 13; at + 11 <= bytes.size();) {
      const auto byte = [&](std::size_t i) {
        return static_cast<std::size_t>(static_cast<unsigned char>(bytes[at + i]));
      };
      const std::size_t kind = byte(0);
      change(static_cast<int>(kind), numbers[kind]++, &bytes[at]);
      at += 15 + (byte(1) << 16 | byte(2) << 8 | byte(3));
    }
    program::writeFile(folder / name, bytes);
  }

  program::Folder folder;
  program::Result last;
};

TEST_F(OtherStreams, OneVideoIsMarkedAndTheOthersAreLeftOut) {
  write(std::string(small) + large + sine + "-map 0 -map 1 -map 2 -t 1 -c:v mpeg4 in.mkv");
  run({"in.mkv", "out.mkv"});
  EXPECT_EQ(widths("out.mkv"), "160\n");
  EXPECT_TRUE(says("warning: stream 1 (video, mpeg4) is not copied: only one video")) << last.err;
  EXPECT_NE(last.lastMessage().find("25 frames"), std::string::npos) << last.err;
  EXPECT_NE(last.lastMessage().find("; left out: stream 1 (video, mpeg4)\n"), std::string::npos)
      << last.err;
  run({"--video", "0", "in.mkv", "out.mkv"});
  EXPECT_EQ(widths("out.mkv"), "160\n");
  run({"--video", "1", "in.mkv", "out.mkv"});
  EXPECT_EQ(widths("out.mkv"), "320\n");
  EXPECT_NE(probe("out.mkv", "stream=codec_type").find("audio"), std::string::npos);
  runAny({"--video", "2", "in.mkv", "out.mkv"});
  program::expectError(last, 1, "in.mkv: --video 2: the file has 2 video streams");
}

TEST_F(OtherStreams, OtherVideosAreCopiedOnRequest) {
  write(std::string(small) + large + "-map 0 -map 1 -t 1 -c:v mpeg4 in.mkv");
  run({"--video", "0", "--keep-other-video", "in.mkv", "out.mkv"});
  EXPECT_EQ(widths("out.mkv"), "160\n320\n");
  EXPECT_TRUE(says("stream 1 (video, mpeg4) is copied without the mark")) << last.err;
  EXPECT_FALSE(says("left out")) << last.err;
}

// A cover is neither counted nor left out.
TEST_F(OtherStreams, CoverIsNotAVideo) {
  write(std::string(large) + "-frames:v 1 -c:v mjpeg cover.jpg");
  write(std::string(small) +
        "-i cover.jpg -map 1 -map 0 -t 1 -c:v:0 copy -c:v:1 mpeg4 "
        "-disposition:v:0 attached_pic in.mp4");
  ASSERT_EQ(widths("in.mp4"), "160\n320\n");
  run({"--video", "0", "--strict", "in.mp4", "out.mp4"});
  EXPECT_EQ(widths("out.mp4"), "160\n320\n");
  EXPECT_NE(probe("out.mp4", "stream_disposition=attached_pic").find("=1"), std::string::npos);
  runAny({"--video", "1", "in.mp4", "out.mp4"});
  program::expectError(last, 1, "the file has 1 video stream, number 0");
}

TEST_F(OtherStreams, StrictRunsFailBeforeAFrameIsWritten) {
  writePictures("in.mkv");
  run({"in.mkv", "out.mp4"});
  EXPECT_TRUE(
      says("warning: stream 1 (subtitle, hdmv_pgs_subtitle) is not copied: the container "
           "'mp4' does not support it"))
      << last.err;
  EXPECT_NE(last.lastMessage().find("; left out: stream 1 (subtitle, hdmv_pgs_subtitle)\n"),
            std::string::npos)
      << last.err;
  runAny({"--strict", "in.mkv", "strict.mp4"});
  program::expectError(last, 1,
                       "--strict: the output would lack stream 1 (subtitle, hdmv_pgs_subtitle)");
  EXPECT_EQ(folder.names(), (std::vector<std::string>{"in.mkv", "out.mp4", "pictures.sup"}));
  run({"--strict", "in.mkv", "out.mkv"});
  EXPECT_FALSE(says("left out")) << last.err;
}

TEST_F(OtherStreams, StrictRunsLeaveOutWhatIsAskedFor) {
  write(std::string(small) + large + sine + "-map 0 -map 1 -map 2 -t 1 -c:v mpeg4 in.mkv");
  runAny({"--strict", "in.mkv", "out.mkv"});
  program::expectError(last, 1, "--strict: the output would lack stream 1 (video, mpeg4)");
  run({"--strict", "--video", "0", "--audio", "none", "in.mkv", "out.mkv"});
  EXPECT_NE(last.lastMessage().find("; left out: stream 1 (video, mpeg4), stream 2 (audio, "),
            std::string::npos)
      << last.err;
}

TEST_F(OtherStreams, SoundIsNotLostWithoutAWordOnTheLastLine) {
  write(std::string(small) + sine + "-t 1 -c:v mpeg4 in.mkv");
  run({"in.mkv", "out.y4m"});
  EXPECT_NE(last.lastMessage().find("; left out: stream 1 (audio, "), std::string::npos)
      << last.err;
  run({"--quiet", "in.mkv", "out.y4m"});
  EXPECT_NE(last.lastMessage().find("warning: out.y4m: left out: stream 1 (audio, "),
            std::string::npos)
      << last.err;
}

// The header of FLV does not list its streams, and these are found as their packets appear.
TEST_F(OtherStreams, SoundThatIsFoundTooLateIsReported) {
  write(std::string(small) + "-itsoffset 8 " + sine + "-t 10 -c:v flv -c:a mp3 in.flv");
  std::string bytes = program::readFile(folder / "in.flv");
  bytes[4] = 1;  // says that there is only video
  program::writeFile(folder / "in.flv", bytes);
  run({"in.flv", "out.mkv"});
  EXPECT_EQ(probe("out.mkv", "stream=codec_type"), "codec_type=video\n");
  EXPECT_TRUE(
      says("warning: stream 1 (audio, mp3) is not copied: it was found after the output was "
           "begun"))
      << last.err;
  EXPECT_NE(last.lastMessage().find("; left out: stream 1 (audio, mp3)\n"), std::string::npos)
      << last.err;
  runAny({"--strict", "in.flv", "strict.mkv"});
  program::expectError(last, 1, "--strict: stream 1 (audio, mp3) is not copied");
}

TEST_F(OtherStreams, SoundWithoutPacketsIsReported) {
  write(std::string(small) + sine + "-t 2 -c:v mpeg4 -c:a pcm_s16le -af atrim=start=1.5 in.mov");
  run({"--frames", "2", "in.mov", "out.mov"});
  EXPECT_NE(last.lastMessage().find("; left out: stream 1 (audio, pcm_s16le), which is empty"),
            std::string::npos)
      << last.err;
}

TEST_F(OtherStreams, TimesThatJumpBackAreMovedOn) {
  write(std::string(small) + sine + "-t 3 -c:v flv -c:a mp3 in.flv");
  changeTags("in.flv", [](int kind, int number, char* tag) {
    if (kind != 8 || number < 40 || number >= 43) return;
    const int time =
        (static_cast<unsigned char>(tag[5]) << 8 | static_cast<unsigned char>(tag[6])) - 90;
    tag[5] = static_cast<char>(time >> 8);
    tag[6] = static_cast<char>(time);
  });
  for (const std::string name : {"out.mkv", "out.mp4", "out.ts", "out.avi"}) {
    SCOPED_TRACE(name);
    run({"in.flv", name});
    std::size_t warnings = 0;
    for (std::size_t at = 0; (at = last.err.find("jump back", at)) != std::string::npos; ++at)
      ++warnings;
    EXPECT_EQ(warnings, 1U) << last.err;
    const auto count = [this](const std::string& file) {
      const std::string lines =
          probe(file, "stream=nb_read_packets -count_packets -select_streams a");
      return lines.substr(0, lines.find('\n'));  // of a transport stream, once for its service
    };
    EXPECT_EQ(count(name), count("in.flv"));
    // The end of the sound is where it was.
    const auto end = [this](const std::string& file) {
      std::istringstream lines(probe(file, "packet=pts_time -select_streams a"));
      double latest = 0;
      for (std::string line; std::getline(lines, line);)
        if (line.rfind("pts_time=", 0) == 0) latest = std::stod(line.substr(9));
      return latest;
    };
    EXPECT_NEAR(end(name), end("in.flv"), 0.05);
  }
}

TEST_F(OtherStreams, ServiceNamesComeThrough) {
  write(std::string(small) + large + sine +
        "-map 0 -map 2 -map 1 -t 1 -c:v mpeg2video -c:a mp2 "
        "-program program_num=7:title=First:st=0:st=1 -program program_num=9:title=Second:st=2 "
        "in.ts");
  const auto services = [this](const std::string& name) {
    return probe(name, "program=program_id,nb_streams:program_tags=service_name,service_provider");
  };
  ASSERT_NE(services("in.ts").find("service_name=Second"), std::string::npos);
  run({"--video", "0", "--keep-other-video", "in.ts", "out.ts"});
  EXPECT_EQ(services("out.ts"), services("in.ts"));
  run({"--video", "0", "in.ts", "out.ts"});
  EXPECT_NE(services("out.ts").find("program_id=7"), std::string::npos) << services("out.ts");
  EXPECT_NE(services("out.ts").find("service_name=First"), std::string::npos);
  EXPECT_EQ(services("out.ts").find("Second"), std::string::npos);
  run({"--video", "0", "in.ts", "out.mkv"});
  EXPECT_NE(probe("out.mkv", "format_tags").find("SERVICE_NAME=First"), std::string::npos);
  run({"out.mkv", "back.ts"});
  EXPECT_NE(services("back.ts").find("service_name=First"), std::string::npos);
}

}  // namespace
