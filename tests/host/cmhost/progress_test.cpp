// The progress line, on terminals and elsewhere.
#include "host/cmhost/progress.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/host/cmhost/fixtures/clip.h"
#include "tests/host/cmhost/fixtures/program.h"

namespace {

using program::Folder;
using program::Result;

TEST(ProgressText, KnownLength) {
  EXPECT_EQ(cmhost::progressText(0, 200, 0), "frame 0 of 200 (0%), 0.0 fps");
  EXPECT_EQ(cmhost::progressText(50, 200, 2), "frame 50 of 200 (25%), 25.0 fps, 0:00:06 left");
  EXPECT_EQ(cmhost::progressText(1, 7201, 1), "frame 1 of 7201 (0%), 1.0 fps, 2:00:00 left");
  EXPECT_EQ(cmhost::progressText(210, 200, 10), "frame 210 of 200 (100%), 21.0 fps, 0:00:00 left");
}

TEST(ProgressText, UnknownLength) {
  EXPECT_EQ(cmhost::progressText(50, 0, 2), "frame 50, 25.0 fps");
}

class Progress : public testing::Test {
 protected:
  void SetUp() override {
    clip::Clip clip;
    clip.encoder = "wrapped_avframe";
    clip.pictures = clip::drawMany(AV_PIX_FMT_YUV420P, 64, 48, 20);
    clip::write(folder / "in.y4m", clip);
  }

  // The text shown on a terminal.
  std::string onTerminal(std::vector<std::string> options, bool fromPipe = false) {
    const int terminal = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
    EXPECT_EQ(::grantpt(terminal), 0);
    EXPECT_EQ(::unlockpt(terminal), 0);
    program::Streams streams;
    streams.err = ::open(::ptsname(terminal), O_RDWR | O_NOCTTY | O_CLOEXEC);
    program::Pipe pipe;
    if (fromPipe) {
      EXPECT_GT(::fcntl(pipe.writeEnd(), F_SETPIPE_SZ, 1 << 18), 0);
      EXPECT_TRUE(pipe.write(program::readFile(folder / "in.y4m")));
      streams.in = pipe.readEnd();
    }
    pipe.closeWriteEnd();
    options.insert(options.end(), {fromPipe ? "-" : "in.y4m", "null:"});
    EXPECT_EQ(program::run(folder.path(), options, streams).exitCode, 0);
    std::string shown(65536, '\0');
    const ssize_t count = ::read(terminal, shown.data(), shown.size());
    shown.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    ::close(streams.err);
    ::close(terminal);
    return shown;
  }

  Folder folder;
};

TEST_F(Progress, TerminalShowsIt) {
  const std::string shown = onTerminal({});
  EXPECT_NE(shown.find("frame 20 of 20 (100%)"), std::string::npos) << shown;
  EXPECT_NE(shown.find(" left"), std::string::npos) << shown;
  EXPECT_NE(shown.find("cmhost: 20 frames in "), std::string::npos) << shown;
  EXPECT_EQ(onTerminal({"--progress", "never"}).find("frame 20 of"), std::string::npos);
  EXPECT_EQ(onTerminal({"--quiet"}), "");
}

TEST_F(Progress, CounterWhereTheLengthIsNotKnown) {
  const std::string shown = onTerminal({}, true);
  EXPECT_NE(shown.find("\x1b[Kframe 20, "), std::string::npos) << shown;
  EXPECT_EQ(shown.find("left"), std::string::npos) << shown;
}

TEST_F(Progress, NothingElsewhereUnlessAskedFor) {
  const Result silent = program::run(folder.path(), {"in.y4m", "null:"});
  EXPECT_EQ(silent.err.find("frame 20 of"), std::string::npos) << silent.err;
  const Result always = program::run(folder.path(), {"--progress=always", "in.y4m", "null:"});
  EXPECT_EQ(always.messages().rfind("cmhost: frame 20 of 20 (100%), ", 0), 0U) << always.err;
  EXPECT_EQ(always.err.find('\x1b'), std::string::npos) << always.err;
  const Result quiet = program::run(folder.path(), {"-q", "in.y4m", "null:"});
  EXPECT_EQ(quiet.exitCode, 0);
  EXPECT_EQ(quiet.err, "");
}

TEST_F(Progress, QuietIsQuietInPipesToo) {
  const Result piped = program::run(folder.path(), {"-q", "in.y4m", "-"});
  EXPECT_EQ(piped.err, "");
  EXPECT_EQ(piped.out.rfind("YUV4MPEG2 ", 0), 0U);
  const Result hashed = program::run(folder.path(), {"-q", "--hash", "-", "in.y4m", "null:"});
  EXPECT_EQ(hashed.err, "");
  EXPECT_EQ(hashed.out.find("Size"), std::string::npos) << hashed.out;
}

TEST_F(Progress, ModulesLinesComeWhereTheyArePrinted) {
  for (const std::string output : {"null:", "out.mkv", "-"}) {
    const Result result = program::run(folder.path(), {"in.y4m", output});
    const std::size_t module = result.err.find("Size: ");
    const std::size_t summary = result.err.find("cmhost: 20 frames in ");
    EXPECT_LT(module, summary) << result.err;
    EXPECT_NE(summary, std::string::npos) << result.err;
  }
}

TEST_F(Progress, QuietRunsStillTellErrors) {
  const Result result = program::run(folder.path(), {"-q", "missing.mkv", "null:"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.err.rfind("cmhost: error: missing.mkv", 0), 0U) << result.err;
}

TEST_F(Progress, SummarySaysWhereTimeWent) {
  const Result result = program::run(folder.path(), {"in.y4m", "null:"});
  EXPECT_NE(result.err.find(" fps) to null:; busy: reading "), std::string::npos) << result.err;
  EXPECT_NE(result.err.find("%, module "), std::string::npos) << result.err;
  EXPECT_NE(result.err.find("%, writing "), std::string::npos) << result.err;
}

}  // namespace
