// Failures inside the media library, on threads of the program.
#include <gtest/gtest.h>

#include "tests/host/cmhost/fixtures/clip.h"
#include "tests/host/cmhost/fixtures/program.h"

namespace {

using program::Result;

class FailingDemuxer : public testing::Test {
 protected:
  void SetUp() override {
    clip::Clip clip;
    clip.encoder = "wrapped_avframe";
    clip.pictures = clip::drawMany(AV_PIX_FMT_YUV420P, 64, 48, 30);
    clip::write(folder / "in.y4m", clip);
  }

  Result run(const std::string& failure, std::vector<std::string> options = {}) {
    const program::Variable preload("LD_PRELOAD", FAILING_DEMUXER);
    const program::Variable order("ASAN_OPTIONS", "verify_asan_link_order=0");
    const program::Variable chosen("FAILING_DEMUXER", failure);
    options.insert(options.end(), {"--module", program::stub("passes_on"), "in.y4m", "out.nut"});
    return program::run(folder.path(), options);
  }

  program::Folder folder;
};

TEST_F(FailingDemuxer, StackOverflowIsTold) {
  for (const char* const failure : {"overflows_in_main", "overflows_in_thread"}) {
    SCOPED_TRACE(failure);
    const Result result = run(failure);
    EXPECT_NE(result.exitCode, 0);
    EXPECT_NE(result.err.find(": the program crashed while this module was loaded: "),
              std::string::npos)
        << result.err;
    EXPECT_EQ(folder.names(), std::vector<std::string>{"in.y4m"});
  }
}

TEST_F(FailingDemuxer, WithoutMemoryThePartIsKept) {
  const Result lost = run("throws_in_thread");
  EXPECT_EQ(lost.exitCode, 1);
  EXPECT_EQ(lost.messages(), "cmhost: error: out of memory\n");
  EXPECT_EQ(folder.names(), std::vector<std::string>{"in.y4m"});
  const Result kept = run("throws_in_thread", {"--keep-partial"});
  EXPECT_EQ(kept.exitCode, 1);
  EXPECT_NE(kept.err.find("cmhost: error: out of memory\n"), std::string::npos) << kept.err;
  ASSERT_EQ(folder.names().size(), 2U);
  const std::string part = folder.names()[1];
  EXPECT_EQ(part.rfind("out.nut.", 0), 0U) << part;
  const std::string count = std::to_string(clip::read(folder / part).pictures.size());
  EXPECT_NE(kept.err.find(part + ": kept " + count + " frame"), std::string::npos) << kept.err;
}

}  // namespace
