// How MP4 and QuickTime files are laid out, and options of muxers that the user sets.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>

#include "tests/host/cmhost/fixtures/clip.h"
#include "tests/host/cmhost/fixtures/program.h"

namespace {

class MuxerOptions : public testing::Test {
 protected:
  // Several buffers of output, several key frames, sound that starts before the video.
  void SetUp() override {
    program::ffmpeg(folder.path(),
                    "-f lavfi -i testsrc2=size=320x240:rate=25 -f lavfi -i sine -t 4 "
                    "-pix_fmt yuv420p -c:v ffv1 -c:a aac in.mkv");
  }

  program::Result run(std::vector<std::string> options, const std::string& output) {
    options.insert(options.end(), {"-q", "--overwrite", "in.mkv", output});
    return program::run(folder.path(), options);
  }

  // The types of the outermost boxes of an MP4 or QuickTime file.
  std::vector<std::string> boxes(const std::string& name) {
    const std::string bytes = program::readFile(folder / name);
    std::vector<std::string> types;
    for (std::size_t at = 0; at + 8 <= bytes.size();) {
      std::size_t size = 0;
      for (std::size_t i = 0; i < 4; ++i)
        size = size << 8U | static_cast<unsigned char>(bytes[at + i]);
      types.push_back(bytes.substr(at + 4, 4));
      if (size < 8) break;
      at += size;
    }
    return types;
  }

  static std::ptrdiff_t indexOf(const std::vector<std::string>& types, const std::string& type) {
    return std::find(types.begin(), types.end(), type) - types.begin();
  }

  // The digests of the frames, without the time stamps.
  std::string digests(const std::string& name) {
    return program::ffmpeg(folder.path(), "-i " + name + " -map 0:v -f md5 -");
  }

  std::string times(const std::string& name) {
    return program::probe(folder.path(), name, "packet=pts_time -select_streams v") +
           program::probe(folder.path(), name, "stream=start_time -select_streams a");
  }

  program::Folder folder;
};

TEST_F(MuxerOptions, IndexOfAFileIsInFront) {
  ASSERT_EQ(run({"--lossless"}, "out.nut").exitCode, 0);
  const std::string expected = digests("out.nut");
  for (const char* const name : {"out.mp4", "out.mov", "out.m4v"}) {
    SCOPED_TRACE(name);
    const program::Result result = run({"--lossless", "--encoder", "libx264"}, name);
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const auto types = boxes(name);
    EXPECT_LT(indexOf(types, "moov"), indexOf(types, "mdat"));
    EXPECT_LT(indexOf(types, "mdat"), static_cast<std::ptrdiff_t>(types.size()));
    EXPECT_EQ(digests(name), expected);
    EXPECT_EQ(folder.names().size(),
              3U + (name != std::string("out.mp4")) + (name == std::string("out.m4v")));
  }
}

TEST_F(MuxerOptions, PipesGetFragments) {
  for (const char* const container : {"mp4", "mov"}) {
    SCOPED_TRACE(container);
    const program::Result result =
        run({"--encoder", "mpeg4", "--encoder-option", "g=25", "--output-format", container}, "-");
    ASSERT_EQ(result.exitCode, 0) << result.err;
    program::writeFile(folder / "piped", result.out);
    const auto types = boxes("piped");
    EXPECT_GE(std::count(types.begin(), types.end(), "moof"), 4);
    EXPECT_LT(indexOf(types, "moov"), indexOf(types, "moof"));
    EXPECT_EQ(clip::read(folder / "piped").pictures.size(), 100U);
  }
}

// With frames that are stored in another order than they are shown.
TEST_F(MuxerOptions, FragmentsKeepTheTimes) {
  ASSERT_EQ(run({"--encoder", "libx264"}, "whole.mp4").exitCode, 0);
  const program::Result result = run({"--encoder", "libx264", "--output-format", "mp4"}, "-");
  ASSERT_EQ(result.exitCode, 0) << result.err;
  program::writeFile(folder / "piped.mp4", result.out);
  EXPECT_EQ(times("piped.mp4"), times("whole.mp4"));
}

TEST_F(MuxerOptions, HevcHasTheTagThatPlayersKnow) {
  for (const char* const name : {"out.mp4", "out.mov"}) {
    const program::Result result = run({"--encoder", "libx265", "--preset", "ultrafast"}, name);
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(program::probe(folder.path(), name, "stream=codec_tag_string -select_streams v"),
              "codec_tag_string=hvc1\n");
  }
}

TEST_F(MuxerOptions, AreTakenFromTheCommandLine) {
  ASSERT_EQ(run({"--muxer-option", "brand=abcd"}, "out.mp4").exitCode, 0);
  EXPECT_EQ(program::readFile(folder / "out.mp4").substr(4, 8), "ftypabcd");
  ASSERT_EQ(run({"--muxer-option", "movflags=0"}, "out.mp4").exitCode, 0);
  EXPECT_LT(indexOf(boxes("out.mp4"), "mdat"), indexOf(boxes("out.mp4"), "moov"));
  // With a sign, flags are added to those that are set anyway.
  ASSERT_EQ(
      run({"--muxer-option", "movflags=+disable_chpl", "--muxer-option", "brand=abcd"}, "out.mp4")
          .exitCode,
      0);
  EXPECT_LT(indexOf(boxes("out.mp4"), "moov"), indexOf(boxes("out.mp4"), "mdat"));
  EXPECT_EQ(program::readFile(folder / "out.mp4").substr(4, 8), "ftypabcd");
}

TEST_F(MuxerOptions, UnknownOnesAreRefusedBeforeAnythingIsWritten) {
  program::ffmpeg(folder.path(), "-i in.mkv -an -c:v copy silent.mkv");
  std::filesystem::rename(folder / "silent.mkv", folder / "in.mkv");
  for (const std::string output : {"out.mp4", "out.mkv", "-"}) {
    const program::Result result = run({"--muxer-option", "unheardof=1"}, output);
    EXPECT_EQ(result.exitCode, 2);
    const std::string container = output == "-"         ? "yuv4mpegpipe"
                                  : output == "out.mkv" ? "matroska"
                                                        : "mp4";
    EXPECT_EQ(result.err, "cmhost: error: --muxer-option: the container '" + container +
                              "' has no option 'unheardof'\n");
    EXPECT_EQ(result.out, "");
  }
  EXPECT_EQ(run({"--muxer-option", "movflags"}, "out.mp4").exitCode, 2);
  const program::Result wrong = run({"--muxer-option", "movflags=unheardof"}, "out.mp4");
  program::expectError(wrong, 1, "Error setting option movflags to value unheardof");
  EXPECT_EQ(folder.names(), std::vector<std::string>{"in.mkv"});
}

}  // namespace
