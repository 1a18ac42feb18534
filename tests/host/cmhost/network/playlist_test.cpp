// HLS output: a playlist and its pieces.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "tests/host/cmhost/fixtures/program.h"

namespace {

namespace fs = std::filesystem;
using program::Result;

class Playlist : public testing::Test {
 protected:
  void SetUp() override {
    program::ffmpeg(folder.path(),
                    "-f lavfi -i testsrc2=size=64x48:rate=25:duration=6 -f lavfi -i "
                    "sine=duration=6 -c:a mp2 -pix_fmt yuv420p -c:v mpeg2video -g 25 in.ts");
    fs::create_directory(folder / "out");
  }

  Result mark(std::vector<std::string> options, const std::string& input = "in.ts",
              const std::string& output = "out/live.m3u8") {
    options.insert(options.end(), {"--encoder-option", "g=25", input, output});
    return program::run(folder.path(), options);
  }

  std::string playlist() { return program::readFile(folder / "out/live.m3u8"); }

  long pieces() {
    return std::count_if(fs::directory_iterator(folder / "out"), fs::directory_iterator(),
                         [](const auto& entry) { return entry.path().extension() == ".ts"; });
  }

  program::Folder folder;
};

TEST_F(Playlist, PiecesAreWrittenNextToIt) {
  const Result result = mark({});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_GE(pieces(), 2);
  EXPECT_NE(playlist().find("#EXT-X-ENDLIST"), std::string::npos);
  const std::string found = program::probe(folder.path(), "out/live.m3u8",
                                           "stream=codec_name,nb_read_frames -count_frames");
  EXPECT_NE(found.find("codec_name=h264\nnb_read_frames=150\n"), std::string::npos) << found;
  EXPECT_NE(found.find("codec_name=mp2\n"), std::string::npos) << found;
}

TEST_F(Playlist, NothingIsReplacedUnasked) {
  ASSERT_EQ(mark({}).exitCode, 0);
  program::expectError(mark({}), 1, "file exists; use --overwrite");
  EXPECT_EQ(mark({"--overwrite"}).exitCode, 0);
  fs::remove(folder / "out/live.m3u8");
  program::expectError(mark({}), 1, "live0.ts: file exists; use --overwrite");
}

TEST_F(Playlist, NeverReplacesTheInput) {
  fs::copy_file(folder / "in.ts", folder / "out/live0.ts");
  const std::string before = program::readFile(folder / "out/live0.ts");
  program::expectError(mark({"--overwrite"}, "out/live0.ts"), 1, "would replace the input");
  EXPECT_TRUE(program::readFile(folder / "out/live0.ts") == before);
}

TEST_F(Playlist, FilesElsewhereAreRefused) {
  const std::string there = folder / "piece%d.ts";
  program::expectError(mark({"--muxer-option", "hls_segment_filename=" + there}), 1,
                       "written next to it");
  EXPECT_FALSE(fs::exists(folder / "piece0.ts"));
}

TEST_F(Playlist, FailedRunHasNoEndMark) {
  const std::string whole = program::readFile(folder / "in.ts");
  program::writeFile(folder / "cut.ts", whole.substr(0, whole.size() * 3 / 4) + whole);
  EXPECT_EQ(mark({}, "cut.ts").exitCode, 1);
  const bool isWritten = fs::exists(folder / "out/live.m3u8");
  EXPECT_TRUE(!isWritten || playlist().find("#EXT-X-ENDLIST") == std::string::npos);
}

TEST_F(Playlist, OptionsOfTheMuxer) {
  const Result result = mark({"--muxer-option", "hls_time=1", "--muxer-option", "hls_list_size=2"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(pieces(), 6);
  const std::string list = playlist();
  EXPECT_EQ(list.find("live0.ts"), std::string::npos) << list;
  EXPECT_NE(list.find("live5.ts"), std::string::npos) << list;
}

}  // namespace
