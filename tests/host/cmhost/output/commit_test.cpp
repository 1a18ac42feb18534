// The end of a run: all files are on disk before the first one is renamed.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <functional>
#include <optional>
#include <thread>

#include "tests/host/cmhost/fixtures/clip.h"
#include "tests/host/cmhost/fixtures/program.h"
#include "tests/host/cmhost/fixtures/system_calls.h"

namespace {

using program::Process;
using program::Result;
using system_calls::Failing;
using system_calls::Gate;
using Names = std::vector<std::string>;

class Commit : public testing::Test {
 protected:
  static constexpr std::size_t frames = 5;

  void SetUp() override {
    clip::Clip clip;
    clip.encoder = "ffv1";
    clip.pictures = clip::drawMany(AV_PIX_FMT_YUV420P, 160, 120, frames);
    clip::write(folder / "in.mkv", clip);
  }

  Result run(const std::vector<std::string>& arguments,
             const std::function<void()>& prepare = {}) const {
    program::Streams streams;
    streams.prepare = prepare;
    return program::run(folder.path(), arguments, streams);
  }

  Result runFailing(const std::vector<Failing>& calls,
                    const std::vector<std::string>& arguments = {"in.mkv", "out.nut"}) const {
    return run(arguments, system_calls::fail(calls));
  }

  void expectFailed(const Result& result, const std::string& error, const Names& left) const {
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_NE(result.err.find("cmhost: error: " + error + "\n"), std::string::npos) << result.err;
    EXPECT_EQ(folder.names(), left);
  }

  void expectWritten(const Result& result) const {
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(folder.names(), (Names{"in.mkv", "out.nut"}));
    EXPECT_EQ(clip::read(folder / "out.nut").pictures.size(), frames);
  }

  program::Folder folder;
};

TEST_F(Commit, LossWhileSynchronisingFails) {
  for (const int error : {EIO, ENOSPC, EDQUOT})
    expectFailed(runFailing({{SYS_fsync, error}}),
                 std::string("out.nut: cannot write: ") + std::strerror(error), {"in.mkv"});
  program::writeFile(folder / "out.nut", "precious");
  expectFailed(runFailing({{SYS_fsync, EIO}}, {"--overwrite", "in.mkv", "out.nut"}),
               "out.nut: cannot write: Input/output error", {"in.mkv", "out.nut"});
  EXPECT_EQ(program::readFile(folder / "out.nut"), "precious");
}

TEST_F(Commit, NothingIsSynchronisedWhenNotAskedFor) {
  expectWritten(runFailing({{SYS_fsync, EIO}}, {"--no-sync", "in.mkv", "out.nut"}));
}

TEST_F(Commit, WhatCannotBeSynchronisedPasses) { expectWritten(runFailing({{SYS_fsync, EINVAL}})); }

TEST_F(Commit, FileSystemsWithoutARenameThatReplacesNothing) {
  expectWritten(runFailing({{SYS_renameat2, EINVAL}}));
  std::filesystem::remove(folder / "out.nut");
  expectWritten(runFailing({{SYS_renameat2, EINVAL}, {SYS_linkat, EPERM}}));
}

TEST_F(Commit, WhatComesMeanwhileIsKeptOnAnyFileSystem) {
  const std::vector<std::vector<Failing>> fileSystems = {
      {}, {{SYS_renameat2, EINVAL}}, {{SYS_renameat2, EINVAL}, {SYS_linkat, EPERM}}};
  for (const auto& calls : fileSystems) {
    SCOPED_TRACE(calls.size());
    const program::Folder made;
    clip::Clip clip;
    clip.encoder = "wrapped_avframe";
    clip.pictures = clip::drawMany(AV_PIX_FMT_YUV420P, 160, 120, frames);
    clip::write(made / "in.y4m", clip);
    program::Pipe in;
    program::Streams streams;
    streams.in = in.readEnd();
    streams.prepare = system_calls::fail(calls);
    Process process(folder.path(), {"-", "late.nut"}, streams);
    ASSERT_TRUE(in.write(program::readFile(made / "in.y4m")));
    in.waitUntilEmpty();
    program::writeFile(folder / "late.nut", "precious");
    in.closeWriteEnd();
    expectFailed(
        process.wait(),
        "late.nut: another process created this file during the run; use --overwrite to replace it",
        {"in.mkv", "late.nut"});
    EXPECT_EQ(program::readFile(folder / "late.nut"), "precious");
    std::filesystem::remove(folder / "late.nut");
  }
}

TEST_F(Commit, NamesThatAreAlwaysTakenEnd) {
  expectFailed(runFailing({{SYS_openat, EEXIST, 2, O_CREAT | O_EXCL}}),
               "out.nut: cannot write: File exists", {"in.mkv"});
}

TEST_F(Commit, LargestFileThatIsAllowed) {
  const auto small = [] {
    const rlimit limit = {20000, 20000};
    ::setrlimit(RLIMIT_FSIZE, &limit);
  };
  expectFailed(run({"in.mkv", "out.nut"}, small), "out.nut: cannot write: File too large",
               {"in.mkv"});
}

TEST_F(Commit, NoOutputWithoutTheOthers) {
  const Names videoAndPreview = {"--preview", "look.png", "in.mkv", "out.nut"};
  Names arguments = videoAndPreview;
  arguments.insert(arguments.end(), {"--hash", "/dev/full"});
  expectFailed(run(arguments), "/dev/full: cannot write: No space left on device", {"in.mkv"});

  const int full = ::open("/dev/full", O_WRONLY | O_CLOEXEC);
  ASSERT_GE(full, 0);
  program::Streams streams;
  streams.out = full;
  arguments = videoAndPreview;
  arguments.insert(arguments.end(), {"--hash", "-"});
  expectFailed(program::run(folder.path(), arguments, streams),
               "standard output: cannot write: No space left on device", {"in.mkv"});
  ::close(full);
}

TEST_F(Commit, PartOfARunWhoseHashFails) {
  const Result result = run({"--keep-partial", "--hash", "/dev/full", "in.mkv", "out.nut"});
  EXPECT_EQ(result.exitCode, 1);
  const Names left = folder.names();
  ASSERT_EQ(left.size(), 2U) << result.err;
  EXPECT_NE(result.err.find(left[1] + ": kept 5 frames\n"), std::string::npos) << result.err;
  EXPECT_EQ(clip::read(folder / left[1]).pictures.size(), frames);
}

TEST_F(Commit, OneFileForTwo) {
  std::filesystem::create_symlink(".", folder / "here");
  const Names common = {"--output-format", "nut", "in.mkv", "out.png"};
  for (const char* const option : {"--hash", "--preview"}) {
    Names arguments = common;
    arguments.insert(arguments.end(), {option, "here/out.png"});
    const Result result = run(arguments);
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.err,
              std::string("cmhost: error: OUTPUT and ") + option + " are the same file, out.png\n");
  }
  const Result result =
      run({"--preview", "look.png", "--hash", "here/look.png", "in.mkv", "out.nut"});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_EQ(result.err, "cmhost: error: --preview and --hash are the same file, look.png\n");
  EXPECT_EQ(folder.names(), (Names{"here", "in.mkv"}));
}

TEST_F(Commit, LongNames) {
  const std::string ascii = std::string(246, 'n') + ".nut";
  std::string accents;
  for (int i = 0; i < 123; ++i) accents += "\u00e9";
  accents += ".nut";
  ASSERT_EQ(accents.size(), 250U);
  for (const std::string& name : {ascii, accents}) {
    const Result result = run({"--overwrite", "in.mkv", name});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(clip::read(folder / name).pictures.size(), frames);
  }
  EXPECT_EQ(folder.names().size(), 3U);
}

// A signal while the run is stopped at its last system calls.
class HeldAtTheEnd : public Commit {
 protected:
  void start(int call, const Names& arguments = {"in.mkv", "out.nut"}) {
    gate.emplace(call);
    program::Streams streams;
    streams.prepare = gate->prepare();
    process.emplace(folder.path(), arguments, streams);
    if (!gate->wait()) {
      if (process->wait().exitCode == 126) GTEST_SKIP() << "no filter of system calls";
      FAIL() << "the call does not come";
    }
  }

  // The call is restarted after each signal.
  void signal(int number) {
    process->signal(number);
    ASSERT_TRUE(gate->wait());
  }

  Result finish() {
    do gate->open();
    while (gate->wait());
    return process->wait();
  }

  std::optional<Gate> gate;
  std::optional<Process> process;
};

TEST_F(HeldAtTheEnd, NothingHasItsNameBeforeAllIsSynchronised) {
  const Names arguments = {"--hash", "hashes", "--preview", "look.png", "in.mkv", "out.nut"};
  ASSERT_NO_FATAL_FAILURE(start(SYS_fsync, arguments));
  if (IsSkipped()) return;
  for (int synchronised = 0; synchronised < 3; ++synchronised) {
    const Names names = folder.names();
    EXPECT_EQ(names.size(), 4U);
    for (const std::string& name : names)
      EXPECT_TRUE(name == "in.mkv" || name.substr(name.size() - 5) == ".part") << name;
    if (synchronised == 2) break;
    gate->open();
    ASSERT_TRUE(gate->wait());
  }
  gate->open(EIO);
  EXPECT_FALSE(gate->wait());
  expectFailed(process->wait(), "hashes: cannot write: Input/output error", {"in.mkv"});
}

TEST_F(HeldAtTheEnd, FolderThatIsNotSynchronised) {
  ASSERT_NO_FATAL_FAILURE(start(SYS_fsync));
  if (IsSkipped()) return;
  gate->open();
  ASSERT_TRUE(gate->wait());
  gate->open(EIO);
  EXPECT_FALSE(gate->wait());
  expectFailed(process->wait(),
               "out.nut: the file is complete, but its folder cannot be synchronised: Input/output "
               "error; a power failure may lose the file",
               {"in.mkv", "out.nut"});
  EXPECT_EQ(clip::read(folder / "out.nut").pictures.size(), frames);
}

TEST_F(HeldAtTheEnd, OneRequest) {
  for (const int call : {SYS_fsync, SYS_renameat2}) {
    SCOPED_TRACE(call);
    ASSERT_NO_FATAL_FAILURE(start(call));
    if (IsSkipped()) return;
    for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGTERM})
      ASSERT_NO_FATAL_FAILURE(signal(number));
    expectWritten(finish());  // there was nothing left to interrupt
    std::filesystem::remove(folder / "out.nut");
  }
}

TEST_F(HeldAtTheEnd, LaterRequest) {
  for (const int call : {SYS_fsync, SYS_renameat2}) {
    SCOPED_TRACE(call);
    ASSERT_NO_FATAL_FAILURE(start(call));
    if (IsSkipped()) return;
    ASSERT_NO_FATAL_FAILURE(signal(SIGINT));
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    process->signal(SIGTERM);
    EXPECT_FALSE(gate->wait());
    EXPECT_EQ(process->wait().exitCode, 128 + SIGTERM);
    EXPECT_EQ(folder.names(), Names{"in.mkv"});
  }
}

}  // namespace
