// Misbehaving modules: each run ends in time with one clear line that names the module, and leaves
// nothing that looks like an output.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <thread>

#include "tests/host/cmhost/fixtures/clip.h"
#include "tests/host/cmhost/fixtures/program.h"

namespace {

using program::Pipe;
using program::Process;
using program::Result;
using program::Streams;

#if defined(__SANITIZE_ADDRESS__)
constexpr bool addressSanitizer = true;
#else
constexpr bool addressSanitizer = false;
#endif

#if !defined(__has_feature)
constexpr bool threadSanitizer = false;
#else
constexpr bool threadSanitizer = __has_feature(thread_sanitizer);
#endif

constexpr int frames = 30;

class HostileModule : public testing::Test {
 protected:
  void SetUp() override {
    clip::Clip clip;
    clip.encoder = "wrapped_avframe";
    clip.pictures = clip::drawMany(AV_PIX_FMT_YUV420P, 64, 48, frames);
    clip::write(folder / "in.y4m", clip);
  }

  /// The path of a module with this behaviour.
  std::string module(const std::string& behaviour, const char* file = HOSTILE_MODULE) const {
    std::string path = modules / (behaviour + ".so");
    EXPECT_EQ(::symlink(file, path.c_str()), 0) << path;
    return path;
  }

  Result run(const std::string& behaviour, const std::string& timeout = "20") {
    return program::run(folder.path(),
                        {"--module-timeout", timeout, "--module", module(behaviour), "--preview",
                         "look.png@29", "--hash", "hashes", "in.y4m", "out.nut"});
  }

  void expectNothingLeft() const { EXPECT_EQ(folder.names(), std::vector<std::string>{"in.y4m"}); }

  /// Expects one line: the module's path, then `what`.
  void expectFailure(const std::string& behaviour, const std::string& what,
                     const std::string& timeout = "20") {
    SCOPED_TRACE(behaviour);
    const auto start = std::chrono::steady_clock::now();
    const Result result = run(behaviour, timeout);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.err, "cmhost: error: " + modules / (behaviour + ".so") + ": " + what + "\n");
    expectNothingLeft();
  }

  program::Folder folder;
  program::Folder modules;

 private:
  // Suppresses reports of threads that a process does not join when it exits at once.
  const program::Variable noLeaks_ = {"TSAN_OPTIONS", threadSanitizerOptions()};

  static std::string threadSanitizerOptions() {
    const char* const options = std::getenv("TSAN_OPTIONS");
    return std::string(options != nullptr ? options : "") +
           " report_thread_leaks=0 ignore_noninstrumented_modules=1";
  }
};

// A misbehaviour in every place where the host calls the module.
struct Place {
  const char* name;
  const char* during;  ///< as in messages
  const char* failed;  ///< as in messages about an exception from there
};

void PrintTo(const Place& place, std::ostream* stream) { *stream << place.name; }

constexpr const char* notCaught = nullptr;  // where exceptions are not allowed

constexpr Place places[] = {
    {"load", "while being loaded", notCaught},
    {"factory", "in its factory", "the factory failed"},
    {"constructor", "in its factory", "the factory failed"},
    {"type", "in type()", "the module failed"},
    {"configure", "while being configured", "cannot configure the module"},
    {"loop", "in its loop", "the module failed"},
    {"process", "in its loop", "the module failed"},
    {"flush", "in its loop", "the module failed"},
    {"destructor", "while being destroyed", notCaught},
    {"unload", "while being unloaded", notCaught},
};

class HostileModuleIn : public HostileModule, public testing::WithParamInterface<Place> {
 protected:
  void SetUp() override {
    if (addressSanitizer && place.name == std::string("unload"))
      GTEST_SKIP() << "modules are not unloaded";
    // ThreadSanitizer of clang 19 also objects during unloading.
    if (threadSanitizer &&
        (place.name == std::string("load") || place.name == std::string("unload")))
      GTEST_SKIP() << "ThreadSanitizer objects to a process that ends while it loads a library";
    HostileModule::SetUp();
  }

  void expectEnd(const std::string& deed, const std::string& what, const std::string& detail,
                 const std::string& timeout = "20") {
    expectFailure(deed + "_in_" + place.name,
                  "the module " + what + " " + place.during + ": " + detail, timeout);
  }

  /// `loopText`: the message of the exception from the loop, which is in the host's library.
  void expectException(const std::string& deed, const std::string& text,
                       const std::string& loopText) {
    const std::string name = place.name;
    if (place.failed == notCaught)
      return expectEnd(deed, "ended the process", "uncaught exception: " + text);
    const bool fromLoop = name == "process" || name == "flush";
    expectFailure(deed + "_in_" + name, place.failed + (": " + (fromLoop ? loopText : text)));
  }

  const Place place = GetParam();
};

TEST_P(HostileModuleIn, Exits) { expectEnd("exits", "ended the process", "exit(3)"); }

TEST_P(HostileModuleIn, Spins) {
  expectEnd("spins", "hung", "no activity for 1 s; change the limit with --module-timeout", "1");
}

TEST_P(HostileModuleIn, ThrowsTypesOfItsOwn) {
  expectException("throws_own", "an exception of type (anonymous namespace)::Own",
                  "unknown exception");
  expectException("throws_derived", "words of the module's own", "words of the module's own");
  expectException("throws_silent", "an exception of type (anonymous namespace)::Silent",
                  "no reason given");
}

TEST_P(HostileModuleIn, Crashes) {
  const std::string name = std::string("segfaults_in_") + place.name;
  const Result result = run(name);
  const std::string line = "cmhost: error: " + modules / (name + ".so") + ": the module crashed " +
                           place.during + ": Segmentation fault\n";
  if (addressSanitizer || threadSanitizer) {
    EXPECT_NE(result.exitCode, 0);
    EXPECT_EQ(result.err.substr(0, line.size()), line);
  } else {
    EXPECT_EQ(result.exitCode, -SIGSEGV);
    EXPECT_EQ(result.err, line);
  }
  expectNothingLeft();
}

// Misbehaviour that is not the end of a call.

TEST_F(HostileModule, EndsTheProcessInOtherWays) {
  expectFailure("quick_exits_in_process", "the module ended the process in its loop: quick_exit");
  expectFailure("throws_explosive_in_configure",
                "the module ended the process while being configured: uncaught "
                "exception: an exception of type (anonymous namespace)::Own");
  const Result result = run("exits_by_thread_in_process");
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.err,
            "cmhost: error: " + modules / "exits_by_thread_in_process.so" +
                ": the program ended the process while this module was loaded: exit(3)\n");
  expectNothingLeft();
}

TEST_F(HostileModule, HangsWithoutWorking) {
  const std::string hung =
      "the module hung in its loop: no activity for 1 s; change the limit with --module-timeout";
  expectFailure("sleeps_in_process", hung, "1");
  expectFailure("polls_for_ever", hung, "1");
}

TEST_F(HostileModule, CrashesInOtherWays) {
  // The C library aborts when a thread ends inside a function with catch (...).
  for (const std::string name : {"overflows_in_process", "aborts_in_process", "traps_in_process",
                                 "ends_thread_in_process"}) {
    const Result result = run(name);
    EXPECT_NE(result.exitCode, 0);
    const std::string line =
        "cmhost: error: " + modules / (name + ".so") + ": the module crashed in its loop: ";
    EXPECT_NE(result.err.find(line), std::string::npos) << result.err;
    expectNothingLeft();
  }
}

TEST_F(HostileModule, ExceptionThatItsOwnHandlerCannotTake) {
  expectFailure("fails_to_handle_its_exception", "the module failed: words of the module's own");
}

TEST_F(HostileModule, PutsNoFrames) {
  expectFailure("puts_nothing", "the module returned none of the 30 frames");
}

TEST_F(HostileModule, LeavesItsLoop) {
  const std::string left = "the module left its loop before the end of the video";
  expectFailure("returns_at_once", left);
  expectFailure("returns_after_a_frame", left);
}

TEST_F(HostileModule, PutsFramesWhenNobodyTakesThem) {
  expectFailure("puts_while_configured", "the module returned frames while being configured");
  expectFailure("puts_after_its_loop", "the module returned frames after its loop had ended");
}

TEST_F(HostileModule, PutsFramesThatAreNotDue) {
  expectFailure("puts_twice", "the module returned frame 0 twice");
  expectFailure("puts_again_at_the_end", "the module returned frame 29 twice");
  expectFailure("puts_backwards", "the module returned frame 0 after frame 1");
  expectFailure("puts_its_own_frames", "the module returned a frame that the host did not create");
}

// The destructors of a module that cannot be unloaded would run after the output is renamed.
TEST_F(HostileModule, ThatStaysLoadedDoesNothingAtTheEnd) {
  if (addressSanitizer) GTEST_SKIP() << "the process ends by exit, for the search for leaks";
  for (const std::string behaviour :
       {"spins_in_unload", "exits_in_unload", "segfaults_in_unload"}) {
    SCOPED_TRACE(behaviour);
    const std::string path = module(behaviour, HOSTILE_MODULE_THAT_STAYS);
    program::Streams streams;
    streams.wrapper = {"timeout", "-s", "KILL", "20"};
    Process run(folder.path(), {"--overwrite", "--module", path, "in.y4m", "out.nut"}, streams);
    const Result result = run.wait();
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_NE(result.err.find("30 frames in "), std::string::npos) << result.err;
    EXPECT_EQ(clip::read(folder / "out.nut").pictures.size(), static_cast<std::size_t>(frames));
    Process failing(folder.path(),
                    {"--output-format", "nut", "--module", path, "in.y4m", "/dev/full"}, streams);
    const Result failed = failing.wait();
    EXPECT_EQ(failed.exitCode, 1);
    EXPECT_NE(failed.err.find("/dev/full: cannot write"), std::string::npos) << failed.err;
    Process inspecting(folder.path(), {"--inspect", path}, streams);
    const Result inspected = inspecting.wait();
    EXPECT_EQ(inspected.exitCode, 0) << inspected.err;
    EXPECT_NE(inspected.out.find("configured: "), std::string::npos) << inspected.out;
  }
}

// Allowed behaviour.

TEST_F(HostileModule, FewerFramesAreToldOf) {
  const Result result = program::run(
      folder.path(), {"--quiet", "--module", module("puts_every_second"), "in.y4m", "out.nut"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.err, "cmhost: warning: " + modules / "puts_every_second.so" +
                            ": the module returned 15 of the 30 frames\n");
  EXPECT_EQ(clip::read(folder / "out.nut").pictures.size(), 15U);
}

TEST_F(HostileModule, OwnDescriptionIsGoneBeforeTheModule) {
  const Result result = program::run(
      folder.path(), {"--module", module("has_its_own_description"), "in.y4m", "out.nut"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
}

// Waiting for others does not count as hanging.

TEST_F(HostileModule, WaitingForTheReaderIsNotHanging) {
  clip::Clip clip;
  clip.encoder = "wrapped_avframe";
  clip.pictures = clip::drawMany(AV_PIX_FMT_YUV420P, 1280, 720, 10);
  clip::write(folder / "large.y4m", clip);
  Pipe out;  // its buffer is smaller than a frame
  Streams streams;
  streams.out = out.writeEnd();
  Process process(folder.path(),
                  {"--module-timeout", "1", "--module", module("passes_on"), "large.y4m", "-"},
                  streams);
  out.closeWriteEnd();
  std::this_thread::sleep_for(std::chrono::milliseconds(2500));
  EXPECT_EQ(out.readAll(), program::readFile(folder / "large.y4m"));
  const Result result = process.wait();
  EXPECT_EQ(result.exitCode, 0) << result.err;
}

TEST_F(HostileModule, WaitingForInputIsNotHanging) {
  Pipe in;
  Streams streams;
  streams.in = in.readEnd();
  Process process(folder.path(),
                  {"--module-timeout", "1", "--module", module("passes_on"), "-", "out.nut"},
                  streams);
  const std::string y4m = program::readFile(folder / "in.y4m");
  in.write(y4m.substr(0, y4m.size() / 2));
  std::this_thread::sleep_for(std::chrono::milliseconds(2500));
  in.write(y4m.substr(y4m.size() / 2));
  in.closeWriteEnd();
  const Result result = process.wait();
  EXPECT_EQ(result.exitCode, 0) << result.err;
}

TEST_F(HostileModule, BeingStoppedIsNotHanging) {
  Process process(folder.path(),
                  {"--module-timeout", "2", "--module", module("takes_half_a_second"), "--frames",
                   "4", "in.y4m", "out.nut"});
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  process.signal(SIGSTOP);
  std::this_thread::sleep_for(std::chrono::milliseconds(3000));
  process.signal(SIGCONT);
  const Result result = process.wait();
  EXPECT_EQ(result.exitCode, 0) << result.err;
}

TEST_F(HostileModule, InspectedOneEndsLikewise) {
  const auto inspect = [&](const std::string& behaviour) {
    return program::run(folder.path(), {"--module-timeout", "1", "--inspect", module(behaviour)});
  };
  const auto line = [&](const std::string& behaviour, const std::string& what) {
    return "cmhost: error: " + modules / (behaviour + ".so") + ": the module " + what + "\n";
  };
  const Result exited = inspect("exits_in_configure");
  EXPECT_EQ(exited.exitCode, 1);
  EXPECT_EQ(exited.out, "");
  EXPECT_EQ(exited.err,
            line("exits_in_configure", "ended the process while being configured: exit(3)"));
  const Result spun = inspect("spins_in_destructor");
  EXPECT_EQ(spun.exitCode, 1);
  EXPECT_EQ(spun.out, "");
  EXPECT_EQ(spun.err, line("spins_in_destructor",
                           "hung while being destroyed: no activity for 1 s; "
                           "change the limit with --module-timeout"));
  const Result full = inspect("puts_while_configured");
  EXPECT_EQ(full.exitCode, 1);
  EXPECT_NE(full.out.find("the module returned frames while being configured"), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Everywhere, HostileModuleIn, testing::ValuesIn(places),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
