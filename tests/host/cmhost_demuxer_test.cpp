// A media library that fails inside, on the program's threads.
#include <gtest/gtest.h>

#include "tests/host/clip.h"
#include "tests/host/program.h"

namespace {

using program::Result;

class FailingDemuxer : public testing::Test {
 protected:
  void SetUp() override {
    clip::Clip clip;
    clip.encoder = "ffv1";
    clip.pictures = clip::drawMany(AV_PIX_FMT_YUV420P, 64, 48, 20);
    clip::write(folder / "in.mkv", clip);
  }

  Result run(const std::string& failure, std::vector<std::string> options = {}) {
    const program::Variable preload("LD_PRELOAD", FAILING_DEMUXER);
    const program::Variable order("ASAN_OPTIONS", "verify_asan_link_order=0");
    const program::Variable chosen("FAILING_DEMUXER", failure);
    options.insert(options.end(), {"--module", program::stub("passes_on"), "in.mkv", "out.nut"});
    return program::run(folder.path(), options);
  }

  program::Folder folder;
};

TEST_F(FailingDemuxer, StackOverflowIsTold) {
  for (const char* const failure : {"overflows_in_main", "overflows_in_thread"}) {
    SCOPED_TRACE(failure);
    const Result result = run(failure);
    EXPECT_NE(result.exitCode, 0);
    EXPECT_NE(result.err.find("crashed: "), std::string::npos) << result.err;
    EXPECT_EQ(folder.names(), std::vector<std::string>{"in.mkv"});
  }
}

}  // namespace
