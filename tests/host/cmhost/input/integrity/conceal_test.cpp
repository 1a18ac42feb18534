// --conceal: a damaged input is marked to its end, its damage is reported, and the exit status
// is 3.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sstream>

#include "tests/host/cmhost/fixtures/program.h"

namespace {

using program::Result;

// The MD5 of each frame, from a list of frame digests.
std::vector<std::string> digestsOf(const std::string& list) {
  std::vector<std::string> digests;
  std::istringstream lines(list);
  for (std::string line; std::getline(lines, line);)
    if (line[0] != '#') digests.push_back(line.substr(line.rfind(' ') + 1));
  return digests;
}

class Conceal : public testing::Test {
 protected:
  // Two seconds of 25 frames each, with key frames every ten frames and optional sound.
  void make(const std::string& name, const std::string& codec, bool sound = false) {
    program::ffmpeg(folder.path(),
                    "-f lavfi -i testsrc2=size=160x120:rate=25:duration=2 " +
                        std::string(sound ? "-f lavfi -i sine=duration=2 -c:a mp2 " : "") +
                        "-pix_fmt yuv420p -g 10 -c:v " + codec + " " + name);
  }

  Result mark(const std::string& input, std::vector<std::string> options = {"--conceal"},
              const std::string& output = "out.nut") {
    options.insert(options.end(), {"--overwrite", "--hash", "hashes", input, output});
    return program::run(folder.path(), options);
  }

  std::vector<std::string> hashes() { return digestsOf(program::readFile(folder / "hashes")); }

  // What the `ffmpeg` program decodes.
  std::size_t framesOfFfmpeg(const std::string& input) {
    return digestsOf(program::ffmpeg(folder.path(), "-i " + input +
                                                        " -map 0:v:0 -vsync passthrough -f "
                                                        "framemd5 -"))
        .size();
  }

  std::size_t framesInOutput() {
    return digestsOf(program::ffmpeg(folder.path(), "-i out.nut -map 0:v:0 -f framemd5 -")).size();
  }

  void overwrite(const std::string& name, std::size_t at, std::size_t count, char value) {
    std::string bytes = program::readFile(folder / name);
    ASSERT_LT(at + count, bytes.size());
    std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(at), count, value);
    program::writeFile(folder / name, bytes);
  }

  program::Folder folder;
};

TEST_F(Conceal, DamagedFramesAreMarkedAndReported) {
  make("in.mkv", "mpeg4");
  ASSERT_EQ(mark("in.mkv").exitCode, 0);
  const auto clean = hashes();
  ASSERT_EQ(clean.size(), 50U);

  const std::size_t middle = program::readFile(folder / "in.mkv").size() / 2;
  overwrite("in.mkv", middle, 40, '\x55');
  EXPECT_EQ(mark("in.mkv", {}).exitCode, 1);
  const Result result = mark("in.mkv");
  EXPECT_EQ(result.exitCode, 3) << result.err;
  const auto damaged = hashes();
  ASSERT_EQ(damaged.size(), framesOfFfmpeg("in.mkv"));
  ASSERT_EQ(damaged.size(), 50U);
  EXPECT_EQ(framesInOutput(), 50U);

  const auto first = std::mismatch(clean.begin(), clean.end(), damaged.begin()).first;
  ASSERT_NE(first, clean.end());
  EXPECT_EQ(clean.back(), damaged.back()) << "the next key frame ends the damage";
  const std::size_t at = result.err.find("at frame ");
  ASSERT_NE(at, std::string::npos) << result.err;
  const int told = std::stoi(result.err.substr(at + 9));
  EXPECT_NEAR(told, first - clean.begin(), 1) << result.err;
  EXPECT_NE(result.err.find("in.mkv: damaged: concealed "), std::string::npos) << result.err;
}

TEST_F(Conceal, TruncatedFile) {
  make("in.mkv", "libx264 -bf 0", true);
  const std::string whole = program::readFile(folder / "in.mkv");
  program::writeFile(folder / "in.mkv", whole.substr(0, whole.size() * 2 / 3));
  const std::size_t expected = framesOfFfmpeg("in.mkv");
  EXPECT_EQ(mark("in.mkv", {}).exitCode, 1);
  EXPECT_FALSE(std::filesystem::exists(folder / "out.nut"));
  const Result result = mark("in.mkv");
  EXPECT_EQ(result.exitCode, 3) << result.err;
  EXPECT_EQ(hashes().size(), expected);
  EXPECT_EQ(framesInOutput(), expected);
  EXPECT_NE(result.err.find("File ended prematurely"), std::string::npos) << result.err;
}

TEST_F(Conceal, PacketsLostFromTheVideo) {
  make("in.ts", "mpeg2video -b:v 4M");
  std::string bytes = program::readFile(folder / "in.ts");
  bytes.erase(bytes.size() / 2 / 188 * 188, std::size_t{188} * 4);
  program::writeFile(folder / "in.ts", bytes);
  EXPECT_EQ(mark("in.ts", {}).exitCode, 1);
  const Result result = mark("in.ts");
  EXPECT_EQ(result.exitCode, 3) << result.err;
  EXPECT_EQ(hashes().size(), framesOfFfmpeg("in.ts"));
}

TEST_F(Conceal, PacketsLostFromTheSound) {
  make("in.ts", "mpeg2video", true);
  std::string bytes = program::readFile(folder / "in.ts");
  std::size_t lost = 0;
  for (std::size_t at = bytes.size() / 2 / 188 * 188; at < bytes.size() && lost < 1; at += 188) {
    const auto pid = (static_cast<unsigned char>(bytes[at + 1]) & 0x1FU) << 8 |
                     static_cast<unsigned char>(bytes[at + 2]);
    const bool startsUnit = (static_cast<unsigned char>(bytes[at + 1]) & 0x40U) != 0;
    if (pid != 0x101 || startsUnit) continue;
    bytes.erase(at, 188);
    ++lost;
  }
  ASSERT_EQ(lost, 1U);
  program::writeFile(folder / "in.ts", bytes);
  EXPECT_EQ(mark("in.ts", {}).exitCode, 1);
  const Result result = mark("in.ts", {"--conceal"}, "null:");
  EXPECT_EQ(result.exitCode, 3) << result.err;
  EXPECT_NE(result.err.find("incomplete packet in stream 1"), std::string::npos) << result.err;
  EXPECT_EQ(hashes().size(), 50U);
}

TEST_F(Conceal, FrameOfAnotherSizeIsScaled) {
  make("one.ts", "mpeg2video");
  program::ffmpeg(folder.path(),
                  "-f lavfi -i testsrc2=size=96x64:rate=25:duration=1 -pix_fmt yuv420p -c:v "
                  "mpeg2video two.ts");
  program::writeFile(folder / "in.ts",
                     program::readFile(folder / "one.ts") + program::readFile(folder / "two.ts"));
  EXPECT_EQ(mark("in.ts", {}).exitCode, 1);
  const Result result = mark("in.ts");
  EXPECT_EQ(result.exitCode, 3) << result.err;
  EXPECT_EQ(hashes().size(), framesOfFfmpeg("in.ts"));
  EXPECT_EQ(framesInOutput(), hashes().size());
}

TEST_F(Conceal, WholeInputGivesTheSameBytesAndStatusZero) {
  make("in.ts", "libx264", true);
  ASSERT_EQ(mark("in.ts", {}).exitCode, 0);
  const std::string plain = program::readFile(folder / "out.nut");
  EXPECT_EQ(mark("in.ts").exitCode, 0);
  EXPECT_EQ(program::readFile(folder / "out.nut"), plain);
}

TEST_F(Conceal, NothingToDecodeStillFails) {
  make("in.mp4", "mpeg4");
  const std::string bytes = program::readFile(folder / "in.mp4");
  const std::size_t box = bytes.find("mdat");
  const std::size_t end = bytes.find("moov");
  ASSERT_LT(box, end);
  overwrite("in.mp4", box + 4, end - box - 8, '\0');
  const Result result = mark("in.mp4");
  program::expectError(result, 1, "no complete frame");
  EXPECT_EQ(folder.names(), std::vector<std::string>{"in.mp4"});

  program::writeFile(folder / "in.mp4", bytes.substr(0, end - 4));  // without its index
  EXPECT_EQ(mark("in.mp4").exitCode, 1);
}

TEST_F(Conceal, FailureWithoutItNamesIt) {
  make("in.y4m", "wrapped_avframe");
  const std::string bytes = program::readFile(folder / "in.y4m");
  program::writeFile(folder / "in.y4m", bytes.substr(0, bytes.size() - 5));
  program::expectError(mark("in.y4m", {}), 1, "use --conceal to finish");
  EXPECT_EQ(mark("in.y4m").exitCode, 3);
  EXPECT_EQ(hashes().size(), framesOfFfmpeg("in.y4m"));
}

}  // namespace
