// Output through links, replacing a file, and without standard streams.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "tests/host/cmhost/fixtures/clip.h"
#include "tests/host/cmhost/fixtures/program.h"

namespace {

namespace fs = std::filesystem;

class Place : public testing::Test {
 protected:
  void SetUp() override {
    clip::Clip clip;
    clip.encoder = "ffv1";
    clip.pictures = clip::drawMany(AV_PIX_FMT_YUV420P, 160, 120, 5);
    clip::write(folder / "in.mkv", clip);
  }

  program::Result run(const std::vector<std::string>& arguments) {
    return program::run(folder.path(), arguments);
  }

  program::Folder folder;
};

TEST_F(Place, LinkToNothingYetIsWrittenThrough) {
  fs::create_directory(folder / "there");
  fs::create_symlink("there/new.mkv", folder / "second.mkv");
  fs::create_symlink("second.mkv", folder / "out.mkv");
  const program::Result result = run({"in.mkv", "out.mkv"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_TRUE(fs::is_symlink(folder / "out.mkv"));
  EXPECT_TRUE(fs::is_symlink(folder / "second.mkv"));
  EXPECT_EQ(clip::read(folder / "there/new.mkv").pictures.size(), 5U);
}

TEST_F(Place, LinksInACircle) {
  fs::create_symlink("out.mkv", folder / "second.mkv");
  fs::create_symlink("second.mkv", folder / "out.mkv");
  const program::Result result = run({"in.mkv", "out.mkv"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_EQ(result.err,
            "cmhost: error: out.mkv: cannot write: Too many levels of symbolic links\n");
}

TEST_F(Place, OverwritingKeepsTheMode) {
  program::writeFile(folder / "out.mkv", "old");
  ASSERT_EQ(::chmod((folder / "out.mkv").c_str(), 0640), 0);
  const program::Result result = run({"--overwrite", "in.mkv", "out.mkv"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  struct stat status = {};
  ASSERT_EQ(::stat((folder / "out.mkv").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0640U);
}

// Runs the program without the standard streams in `closed`.
int runWithout(const std::vector<int>& closed, const std::string& folder,
               const std::string& output) {
  const pid_t child = ::fork();
  if (child == 0) {
    for (const int stream : closed) ::close(stream);
    if (::chdir(folder.c_str()) == 0)
      ::execl(CMHOST_PROGRAM, CMHOST_PROGRAM, "--lossless", "in.mkv", output.c_str(), nullptr);
    ::_exit(127);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST_F(Place, MissingStandardStreamsAreNotTakenForFiles) {
  ASSERT_EQ(run({"--lossless", "in.mkv", "expected.mkv"}).exitCode, 0);
  const std::string expected = program::readFile(folder / "expected.mkv");
  EXPECT_EQ(runWithout({0, 1, 2}, folder.path(), "out.mkv"), 0);
  EXPECT_EQ(program::readFile(folder / "out.mkv"), expected);
  EXPECT_EQ(runWithout({1}, folder.path(), "-"), 1);
}

TEST_F(Place, ProgramStreamTakesFields) {
  clip::Clip clip;
  clip.encoder = "ffv1";
  clip.pictures = clip::drawMany(AV_PIX_FMT_YUV420P, 160, 128, 5);
  clip.tags.fieldOrder = AV_FIELD_TT;
  clip.interlaced.assign(5, true);
  clip.topFieldFirst.assign(5, true);
  clip::write(folder / "fields.mkv", clip);
  const program::Result result = run({"fields.mkv", "out.mpg"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(clip::read(folder / "out.mpg").interlaced, std::vector<bool>(5, true));
}

TEST_F(Place, NoConversionIsNamedThatCannotHelp) {
  const program::Result result = run({"--encoder", "svq1", "in.mkv", "out.mov"});
  EXPECT_EQ(result.exitCode, 1);
  EXPECT_NE(result.err.find("the encoder svq1 does not support the pixel format yuv420p"),
            std::string::npos);
  EXPECT_EQ(result.err.find("--convert"), std::string::npos) << result.err;
}

}  // namespace
