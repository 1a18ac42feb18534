// Pipes as input and output, also when the other end is closed.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <thread>

#include "tests/host/cmhost/fixtures/clip.h"
#include "tests/host/cmhost/fixtures/program.h"

namespace {

using program::expectError;
using program::Folder;
using program::Pipe;
using program::Process;
using program::Result;

constexpr int frames = 12;
constexpr std::size_t y4mFrame = clip::y4mFrameBytes;

class Pipes : public testing::Test {
 protected:
  void SetUp() override {
    program::writeFile(folder / "in.y4m", y4m);
    clip::Clip clip = clip::read(folder / "in.y4m");
    clip.encoder = "rawvideo";
    clip::write(folder / "in.nut", clip);
  }

  // Runs with `content` as input from a pipe, which is then closed.
  Result runFed(const std::vector<std::string>& arguments, const std::string& content) {
    Pipe pipe;
    program::Streams streams;
    streams.in = pipe.readEnd();
    Process process(folder.path(), arguments, streams);
    pipe.closeReadEnd();
    pipe.write(content);
    pipe.closeWriteEnd();
    return process.wait();
  }

  Folder folder;
  const std::string y4m = clip::y4m(frames);
};

TEST_F(Pipes, LinkInAChain) {
  ASSERT_EQ(program::run(folder.path(), {"in.y4m", "out.y4m"}).exitCode, 0);
  const std::string expected = program::readFile(folder / "out.y4m");
  const Result fromY4m = runFed({"-", "-"}, y4m);
  EXPECT_EQ(fromY4m.exitCode, 0) << fromY4m.err;
  EXPECT_TRUE(fromY4m.out == expected);
  EXPECT_NE(fromY4m.err.find("12 frames in "), std::string::npos) << fromY4m.err;

  const Result toNut =
      runFed({"--input-format", "yuv4mpegpipe", "--output-format", "nut", "-", "-"}, y4m);
  ASSERT_EQ(toNut.exitCode, 0) << toNut.err;
  const Result fromNut = runFed({"--module", program::stub("passes_on"), "-", "-"}, toNut.out);
  EXPECT_EQ(fromNut.exitCode, 0) << fromNut.err;
  EXPECT_TRUE(fromNut.out == expected);
}

TEST_F(Pipes, ReadersAndWritersAtTheSameTime) {
  Pipe in;
  Pipe out;
  program::Streams streams;
  streams.in = in.readEnd();
  streams.out = out.writeEnd();
  Process process(folder.path(), {"-", "-"}, streams);
  in.closeReadEnd();
  out.closeWriteEnd();
  std::string got;
  std::thread reader([&] { got = out.readAll(); });
  EXPECT_TRUE(in.write(y4m));
  in.closeWriteEnd();
  reader.join();
  EXPECT_EQ(process.wait().exitCode, 0);
  EXPECT_EQ(got.size(), y4m.size());
}

TEST_F(Pipes, NamedOnes) {
  ASSERT_EQ(::mkfifo((folder / "in.fifo").c_str(), 0600), 0);
  ASSERT_EQ(::mkfifo((folder / "out.fifo").c_str(), 0600), 0);
  Process process(folder.path(), {"--output-format", "nut", "in.fifo", "out.fifo"});
  std::thread writer([&] { program::writeFile(folder / "in.fifo", y4m); });
  program::writeFile(folder / "out.nut", program::readFile(folder / "out.fifo"));
  writer.join();
  EXPECT_EQ(process.wait().exitCode, 0);
  EXPECT_EQ(clip::read(folder / "out.nut").pictures.size(), std::size_t{frames});
}

TEST_F(Pipes, RawVideoWithoutAHeader) {
  std::string raw;
  for (const auto& picture : clip::read(folder / "in.y4m").pictures)
    for (const auto& plane : picture.planes) raw.append(plane.begin(), plane.end());
  const std::vector<std::string> options = {"--input-format", "rawvideo",
                                            "--input-option", "video_size=320x240",
                                            "--input-option", "pixel_format=yuv420p",
                                            "--input-option", "framerate=25"};
  auto arguments = options;
  arguments.insert(arguments.end(), {"-", "-"});
  const Result result = runFed(arguments, raw);
  ASSERT_EQ(result.exitCode, 0) << result.err;
  const Result expected = program::run(folder.path(), {"in.y4m", "-"});
  program::writeFile(folder / "raw.y4m", result.out);
  program::writeFile(folder / "file.y4m", expected.out);
  const auto fromRaw = clip::read(folder / "raw.y4m").pictures;
  const auto fromFile = clip::read(folder / "file.y4m").pictures;
  ASSERT_EQ(fromRaw.size(), fromFile.size());
  for (std::size_t i = 0; i < fromRaw.size(); ++i) EXPECT_EQ(fromRaw[i].planes, fromFile[i].planes);
}

TEST_F(Pipes, WrongInputOptions) {
  expectError(runFed({"--input-format", "unheardof", "-", "-"}, y4m), 2, "--input-format");
  expectError(runFed({"--input-option", "unheardof=1", "-", "-"}, y4m), 2, "'unheardof'");
}

TEST_F(Pipes, WriterThatGoesAwayInAPicture) {
  expectError(
      runFed({"-", "out.nut"}, y4m.substr(0, y4m.size() - 2 * y4mFrame - 1000)), 1,
      "standard input: damaged or truncated: the last frame is incomplete; decoded 9 frames");
  const std::string nut = program::readFile(folder / "in.nut");
  expectError(runFed({"-", "out.nut"}, nut.substr(0, nut.size() / 2)), 1, "; decoded ");
  expectError(runFed({"-", "out.nut"}, ""), 1, "standard input: not a video file");
  EXPECT_EQ(folder.names(), (std::vector<std::string>{"in.nut", "in.y4m"}));
}

TEST_F(Pipes, ReaderThatGoesAwayWhileInputComes) {
  Pipe in;
  Pipe out;
  program::Streams streams;
  streams.in = in.readEnd();
  streams.out = out.writeEnd();
  Process process(folder.path(), {"-", "-"}, streams);
  in.closeReadEnd();
  out.closeWriteEnd();
  ASSERT_TRUE(in.write(y4m));
  char first;
  ASSERT_EQ(::read(out.readEnd(), &first, 1), 1);
  out.closeReadEnd();
  while (in.write(y4m.substr(y4m.size() - y4mFrame))) continue;  // until cmhost ends
  expectError(process.wait(), 1, ": the reader closed the pipe");
}

TEST_F(Pipes, ReaderThatGoesAwayWhileNoInputComes) {
  Pipe in;
  Pipe out;
  program::Streams streams;
  streams.in = in.readEnd();
  streams.out = out.writeEnd();
  Process process(folder.path(), {"-", "-"}, streams);
  in.closeReadEnd();
  out.closeWriteEnd();
  std::string got;
  std::thread reader([&] {
    // All data, then end of file.
    const std::size_t size = y4m.size() - 2 * y4mFrame;
    while (got.size() < size) {
      char part[65536];
      const ssize_t count = ::read(out.readEnd(), part, sizeof part);
      if (count <= 0) break;
      got.append(part, static_cast<std::size_t>(count));
    }
    out.closeReadEnd();
  });
  ASSERT_TRUE(in.write(y4m));  // the writing end stays open
  reader.join();
  expectError(process.wait(), 1, ": the reader closed the pipe");
}

TEST_F(Pipes, DamageEndsARunWhoseReaderStalls) {
  std::string damaged = y4m;
  damaged.replace(y4m.size() - y4mFrame, 5, "FRANK");
  Pipe out;
  program::Streams streams;
  streams.out = out.writeEnd();
  program::writeFile(folder / "damaged.y4m", damaged);
  Process process(folder.path(), {"damaged.y4m", "-"}, streams);
  out.closeWriteEnd();
  expectError(process.wait(), 1, "damaged.y4m: damaged or truncated: ");  // nobody has read
}

TEST_F(Pipes, StandardOutputStaysAsOthersHaveIt) {
  Pipe out;
  program::Streams streams;
  streams.out = out.writeEnd();
  Process process(folder.path(), {"in.y4m", "-"}, streams);
  char first;
  ASSERT_EQ(::read(out.readEnd(), &first, 1), 1);
  EXPECT_EQ(::fcntl(out.writeEnd(), F_GETFL) & O_NONBLOCK, 0);
  out.closeWriteEnd();
  out.readAll();
  EXPECT_EQ(process.wait().exitCode, 0);
}

TEST_F(Pipes, TerminalIsNoInput) {
  const int terminal = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  ASSERT_EQ(::grantpt(terminal), 0);
  ASSERT_EQ(::unlockpt(terminal), 0);
  program::Streams streams;
  streams.in = ::open(::ptsname(terminal), O_RDWR | O_NOCTTY | O_CLOEXEC);
  expectError(program::run(folder.path(), {"-", "out.nut"}, streams), 2,
              "standard input is a terminal");
  ::close(streams.in);
  ::close(terminal);
}

// If frames were kept, the long run would need 70 MB more than the short one.
TEST_F(Pipes, AStreamOfAnyLengthRunsInConstantMemory) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "sanitizers keep what is freed";
#endif
  const std::string picture = y4m.substr(y4m.size() - y4mFrame);
  const std::string header = y4m.substr(0, y4m.size() - frames * y4mFrame);
  long peak[2] = {};
  for (int run = 0; run < 2; ++run) {
    Pipe pipe;
    program::Streams streams;
    streams.in = pipe.readEnd();
    Process process(folder.path(), {"-", "null:"}, streams);
    pipe.closeReadEnd();
    pipe.write(header);
    for (int i = 0; i < (run == 0 ? 100 : 700); ++i) pipe.write(picture);
    pipe.closeWriteEnd();
    const Result result = process.wait();
    ASSERT_EQ(result.exitCode, 0) << result.err;
    peak[run] = result.peakKilobytes;
  }
  EXPECT_LT(peak[1] - peak[0], 20 * 1024) << peak[0] << " and " << peak[1];
}

}  // namespace
