// Signals, and the files of an interrupted run.
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <optional>
#include <thread>

#include "tests/host/cmhost/fixtures/clip.h"
#include "tests/host/cmhost/fixtures/program.h"

namespace {

using program::Folder;
using program::Pipe;
using program::Process;
using program::Result;

constexpr int frames = 12;
constexpr std::size_t frameBytes = clip::y4mFrameBytes;

class Interrupt : public testing::Test {
 protected:
  // Sends all frames and half of another through a pipe that stays open, then the signal.
  Result interrupt(int number, const std::vector<std::string>& arguments) {
    Pipe in;
    program::Streams streams;
    streams.in = in.readEnd();
    Process process(folder.path(), arguments, streams);
    EXPECT_TRUE(in.write(y4m + y4m.substr(y4m.size() - frameBytes, frameBytes / 2)));
    in.waitUntilEmpty();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    process.signal(number);
    return process.wait();
  }

  void expectHolds(const Result& result, int number, const std::string& name) {
    EXPECT_EQ(result.exitCode, 128 + number) << result.err;
    ASSERT_EQ(folder.names(), std::vector<std::string>{name}) << result.err;
    const std::size_t count = clip::read(folder / name).pictures.size();
    EXPECT_GE(count, 1U);
    EXPECT_LE(count, std::size_t{frames});
    const std::string said = name + " was closed properly and contains " + std::to_string(count) +
                             (count == 1 ? " frame\n" : " frames\n");
    EXPECT_NE(result.err.find(said), std::string::npos) << said << result.err;
  }

  Folder folder;
  const std::string y4m = clip::y4m(frames);
};

TEST_F(Interrupt, FileIsClosedProperly) {
  expectHolds(interrupt(SIGINT, {"-", "out.mkv"}), SIGINT, "out.mkv");
}

TEST_F(Interrupt, TerminationLikewise) {
  expectHolds(interrupt(SIGTERM, {"--encoder", "mpeg4", "-", "out.mp4"}), SIGTERM, "out.mp4");
}

TEST_F(Interrupt, BeforeTheFrameOfThePreview) {
  const Result result = interrupt(SIGINT, {"--preview", "look.png@100", "-", "out.mkv"});
  expectHolds(result, SIGINT, "out.mkv");
  const char* const warning =
      "cmhost: warning: look.png: not written: there is no frame 100, the output has only ";
  EXPECT_NE(result.err.find(warning), std::string::npos) << result.err;
}

TEST_F(Interrupt, BeforeTheFirstFrame) {
  Pipe in;
  program::Streams streams;
  streams.in = in.readEnd();
  Process process(folder.path(), {"-", "out.mkv"}, streams);
  ASSERT_TRUE(in.write(y4m.substr(0, 1000)));
  in.waitUntilEmpty();
  process.signal(SIGINT);
  const Result result = process.wait();
  EXPECT_EQ(result.exitCode, 130);
  EXPECT_EQ(result.err, "cmhost: error: interrupted before the first frame was marked\n");
  EXPECT_TRUE(folder.names().empty());
}

TEST_F(Interrupt, HangUpAndQuitLikewise) {
  expectHolds(interrupt(SIGHUP, {"-", "out.mkv"}), SIGHUP, "out.mkv");
  std::filesystem::remove(folder / "out.mkv");
  expectHolds(interrupt(SIGQUIT, {"-", "out.nut"}), SIGQUIT, "out.nut");
}

// A run with temporary files that blocks because nobody reads its output.
class Waiting : public Interrupt {
 protected:
  void SetUp() override {
    Interrupt::SetUp();
    program::Streams streams;
    streams.in = in.readEnd();
    streams.out = out.writeEnd();
    streams.prepare = prepare;
    const std::vector<std::string> arguments = {"--hash",   "hashes", "--preview",
                                                "look.png", "-",      "-"};
    process.emplace(folder.path(), arguments, streams);
    // The buffer of the pipe is smaller than this: the run waits for its reader.
    ASSERT_TRUE(in.write(y4m));
    in.waitUntilEmpty();
    ASSERT_EQ(folder.names().size(), 2U);
  }

  void waitUntilNoted() {
    const char* const noted = "finishing frames in flight; press Ctrl-C again to exit now";
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (process->errSoFar().find(noted) == std::string::npos) {
      ASSERT_LT(std::chrono::steady_clock::now(), deadline);
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
  }

  void expectNothingLeft(int exitCode) {
    EXPECT_EQ(process->wait().exitCode, exitCode);
    EXPECT_TRUE(folder.names().empty()) << folder.names()[0];
  }

  Pipe in;
  Pipe out;
  std::function<void()> prepare;
  std::optional<Process> process;
};

TEST_F(Waiting, LaterSignalLeavesAtOnce) {
  process->signal(SIGINT);
  waitUntilNoted();
  std::this_thread::sleep_for(std::chrono::milliseconds(1100));
  process->signal(SIGTERM);
  expectNothingLeft(128 + SIGTERM);
}

TEST_F(Waiting, SignalsWithinASecondAreOneRequest) {
  process->signal(SIGTERM);
  waitUntilNoted();
  for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGQUIT, SIGTERM}) process->signal(number);
  in.closeWriteEnd();
  out.closeWriteEnd();
  const std::string video = out.readAll();
  const Result result = process->wait();
  EXPECT_EQ(result.exitCode, 128 + SIGTERM) << result.err;
  EXPECT_EQ(folder.names(), (std::vector<std::string>{"hashes", "look.png"}));
  const std::size_t pictureBytes = video.size() - (video.find('\n') + 1);
  EXPECT_EQ(pictureBytes % frameBytes, 0U);
  EXPECT_GE(pictureBytes, frameBytes);
  EXPECT_NE(result.err.find("contains " + std::to_string(pictureBytes / frameBytes) + " frame"),
            std::string::npos)
      << result.err;
}

TEST_F(Waiting, OtherSignalsThatEndAProcessLeaveNoTemporaryFile) {
  process->signal(SIGUSR1);
  expectNothingLeft(-SIGUSR1);
}

TEST_F(Waiting, NorDoesTheEndOfTheProcessorTime) {
  process->signal(SIGXCPU);
  expectNothingLeft(-SIGXCPU);
}

class WaitingWithoutHangUp : public Waiting {
 protected:
  WaitingWithoutHangUp() {
    prepare = [] { std::signal(SIGHUP, SIG_IGN); };
  }
};

TEST_F(WaitingWithoutHangUp, IgnoredSignalStaysIgnored) {
  process->signal(SIGHUP);
  out.closeWriteEnd();
  in.closeWriteEnd();
  out.readAll();
  const Result result = process->wait();
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_NE(result.err.find("cmhost: 12 frames in "), std::string::npos) << result.err;
}

class Partial : public Interrupt {
 protected:
  // The only remaining file, which the message names.
  std::string kept(const Result& result) {
    const auto names = folder.names();
    for (const std::string& name : names) {
      if (name.rfind("out", 0) != 0) continue;
      EXPECT_NE(result.err.find(name + ": kept "), std::string::npos) << result.err;
      return folder / name;
    }
    ADD_FAILURE() << "nothing is kept: " << result.err;
    return "";
  }
};

TEST_F(Partial, DamageLeavesTheFramesBeforeIt) {
  program::writeFile(folder / "cut.y4m", y4m.substr(0, y4m.size() - 1000));
  for (const char* const container : {"mkv", "nut", "mp4"}) {
    SCOPED_TRACE(container);
    const Result result =
        program::run(folder.path(), {"--keep-partial", "cut.y4m", std::string("out.") + container});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_NE(result.err.find("; decoded 11 frames"), std::string::npos) << result.err;
    const std::string path = kept(result);
    ASSERT_NE(path, "");
    EXPECT_EQ(path.substr(path.size() - 5), ".part");
    EXPECT_EQ(clip::read(path).pictures.size(), 11U);
    ::unlink(path.c_str());
  }
}

TEST_F(Partial, NothingIsKeptUnlessAskedFor) {
  program::writeFile(folder / "cut.y4m", y4m.substr(0, y4m.size() - 1000));
  EXPECT_EQ(program::run(folder.path(), {"cut.y4m", "out.mkv"}).exitCode, 1);
  EXPECT_EQ(folder.names(), std::vector<std::string>{"cut.y4m"});
}

TEST_F(Partial, WholeRunHasTheRightName) {
  program::writeFile(folder / "in.y4m", y4m);
  EXPECT_EQ(program::run(folder.path(), {"--keep-partial", "in.y4m", "out.nut"}).exitCode, 0);
  EXPECT_EQ(folder.names(), (std::vector<std::string>{"in.y4m", "out.nut"}));
}

TEST_F(Partial, FullDisk) {
  const std::string disk = folder / "disk";
  ASSERT_EQ(::mkdir(disk.c_str(), 0700), 0);
  if (::mount("none", disk.c_str(), "tmpfs", 0, "size=512k") != 0)
    GTEST_SKIP() << "a small disk takes the right to mount one";
  program::writeFile(folder / "in.y4m", y4m);
  const Result lost = program::run(folder.path(), {"in.y4m", "disk/out.nut"});
  EXPECT_EQ(lost.exitCode, 1);
  EXPECT_NE(lost.err.find("disk/out.nut: cannot write: No space left on device"), std::string::npos)
      << lost.err;
  EXPECT_TRUE(std::filesystem::is_empty(disk));
  const Result part = program::run(folder.path(), {"--keep-partial", "in.y4m", "disk/out.nut"});
  EXPECT_EQ(part.exitCode, 1);
  EXPECT_FALSE(std::filesystem::is_empty(disk)) << part.err;
  ::umount2(disk.c_str(), MNT_DETACH);
}

}  // namespace
