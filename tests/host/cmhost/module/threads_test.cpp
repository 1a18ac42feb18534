// A system that cannot start more threads.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>

#include "tests/host/cmhost/fixtures/clip.h"
#include "tests/host/cmhost/fixtures/program.h"

namespace {

class Threads : public testing::Test {
 protected:
  void SetUp() override {
    clip::Clip clip;
    clip.encoder = "ffv1";
    clip.pictures = clip::drawMany(AV_PIX_FMT_YUV420P, 64, 48, 5);
    clip::write(folder / "in.mkv", clip);
  }

  /// Runs the program with one more thread each time until it succeeds. Returns how often it
  /// failed.
  int failUntilThereAreEnough(const std::string& output) {
    const program::Variable preload("LD_PRELOAD", FAILING_THREADS);
    const program::Variable order("ASAN_OPTIONS", "verify_asan_link_order=0");
    for (int threads = 0; threads < 200; ++threads) {
      SCOPED_TRACE(output + " with " + std::to_string(threads) + " threads");
      const program::Variable from("FAILING_THREADS_FROM", std::to_string(threads));
      const auto result = program::run(folder.path(), {"--quiet", "in.mkv", output});
      if (result.exitCode == 0) return threads;
      EXPECT_EQ(result.exitCode, 1);
      EXPECT_EQ(result.err.rfind("cmhost: error: ", 0), 0U) << result.err;
      EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
      EXPECT_NE(result.err.find("cannot start a thread: "), std::string::npos) << result.err;
      EXPECT_NE(result.err.find("ulimit -u"), std::string::npos) << result.err;
      EXPECT_EQ(folder.names(), std::vector<std::string>{"in.mkv"});
      if (HasFailure()) break;
    }
    ADD_FAILURE() << "it does not succeed";
    return 0;
  }

  program::Folder folder;
};

// One thread each for the watchdog, the component, encoding and decoding.
TEST_F(Threads, EachThatCannotBeStartedIsToldAsOne) {
  EXPECT_GE(failUntilThereAreEnough("out.nut"), 4);
  ASSERT_EQ(std::remove((folder / "out.nut").c_str()), 0);
  EXPECT_GE(failUntilThereAreEnough("out.mp4"), 4);
}

}  // namespace
