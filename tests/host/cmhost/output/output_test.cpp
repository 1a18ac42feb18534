// Names and kinds of outputs, and errors when an output cannot be written.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/host/cmhost/fixtures/clip.h"
#include "tests/host/cmhost/fixtures/program.h"

namespace {

using program::expectError;
using program::Folder;
using program::Result;

class Output : public testing::Test {
 protected:
  void SetUp() override {
    clip::Clip clip;
    clip.encoder = "ffv1";
    clip.pictures = clip::drawMany(AV_PIX_FMT_YUV420P, 320, 240, 20);
    clip::write(folder / "in.mkv", clip);
  }

  Result run(const std::vector<std::string>& arguments, const program::Streams& streams = {}) {
    return program::run(folder.path(), arguments, streams);
  }

  Folder folder;
};

TEST_F(Output, SummaryIsOneLine) {
  const Result result = run({"in.mkv", "out.mkv"});
  EXPECT_EQ(result.exitCode, 0);
  const std::string messages = result.messages();
  EXPECT_EQ(messages.rfind("cmhost: 20 frames in ", 0), 0U) << messages;
  EXPECT_EQ(messages.find('\n'), messages.size() - 1) << messages;
  EXPECT_NE(messages.find("out.mkv"), std::string::npos) << messages;
}

TEST_F(Output, StandardOutputBelongsToTheVideo) {
  const Result result = run({"in.mkv", "-"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.out.rfind("YUV4MPEG2 ", 0), 0U);
  EXPECT_NE(result.err.find("Size: 288, 66, "), std::string::npos) << result.err;
  EXPECT_NE(result.err.find("Alpha Size: 288, 66, "), std::string::npos) << result.err;
  ASSERT_EQ(run({"in.mkv", "out.y4m"}).exitCode, 0);
  EXPECT_TRUE(result.out == program::readFile(folder / "out.y4m"));
}

TEST_F(Output, ContainerOfStandardOutputCanBeChosen) {
  const Result result = run({"--output-format", "nut", "in.mkv", "-"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  program::writeFile(folder / "piped.nut", result.out);
  EXPECT_EQ(clip::read(folder / "piped.nut").pictures.size(), 20U);
}

TEST_F(Output, ExistingFileIsKeptUnlessToldOtherwise) {
  program::writeFile(folder / "out.mkv", "precious");
  expectError(run({"in.mkv", "out.mkv"}), 1, "--overwrite");
  EXPECT_EQ(program::readFile(folder / "out.mkv"), "precious");
  EXPECT_EQ(run({"--overwrite", "in.mkv", "out.mkv"}).exitCode, 0);
  EXPECT_EQ(clip::read(folder / "out.mkv").pictures.size(), 20U);
}

TEST_F(Output, ExistingFileSurvivesAFailedRun) {
  program::writeFile(folder / "out.mkv", "precious");
  const std::string whole = program::readFile(folder / "in.mkv");
  program::writeFile(folder / "cut.mkv", whole.substr(0, whole.size() / 2));
  EXPECT_EQ(run({"--overwrite", "cut.mkv", "out.mkv"}).exitCode, 1);
  EXPECT_EQ(program::readFile(folder / "out.mkv"), "precious");
  EXPECT_EQ(folder.names(), (std::vector<std::string>{"cut.mkv", "in.mkv", "out.mkv"}));
}

TEST_F(Output, LinkStaysALink) {
  program::writeFile(folder / "real.mkv", "old");
  ASSERT_EQ(::symlink("real.mkv", (folder / "link.mkv").c_str()), 0);
  EXPECT_EQ(run({"--overwrite", "in.mkv", "link.mkv"}).exitCode, 0);
  struct stat status = {};
  ASSERT_EQ(::lstat((folder / "link.mkv").c_str(), &status), 0);
  EXPECT_TRUE(S_ISLNK(status.st_mode));
  EXPECT_EQ(clip::read(folder / "real.mkv").pictures.size(), 20U);
}

TEST_F(Output, InputIsNotReplacedByItself) {
  expectError(run({"--overwrite", "in.mkv", "./in.mkv"}), 2, "same file");
  EXPECT_EQ(clip::read(folder / "in.mkv").pictures.size(), 20U);
}

TEST_F(Output, FolderThatIsNotThere) {
  expectError(run({"in.mkv", "nowhere/out.mkv"}), 1, "No such file or directory");
}

TEST_F(Output, Folder) { expectError(run({"in.mkv", "."}), 1, "is a directory"); }

TEST_F(Output, PlaceThatCannotBeWritten) {
  expectError(run({"in.mkv", "in.mkv/out.nut"}), 1, "Not a directory");
  // Nobody can create files there, not even root.
  expectError(run({"in.mkv", "/sys/out.nut"}), 1, "/sys/out.nut: cannot write: ");
}

TEST_F(Output, FullDisk) {
  ASSERT_EQ(::symlink("/dev/full", (folder / "full.nut").c_str()), 0);
  expectError(run({"in.mkv", "full.nut"}), 1, "No space left on device");
  const int full = ::open("/dev/full", O_WRONLY | O_CLOEXEC);
  ASSERT_GE(full, 0);
  program::Streams streams;
  streams.out = full;
  expectError(run({"in.mkv", "-"}, streams), 1, "No space left on device");
  ::close(full);
}

TEST_F(Output, ClosedPipe) {
  int ends[2];
  ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
  ::close(ends[0]);
  program::Streams streams;
  streams.out = ends[1];
  expectError(run({"in.mkv", "-"}, streams), 1, "Broken pipe");
  ::close(ends[1]);
}

TEST_F(Output, NoContainerOfSuchAName) {
  expectError(run({"in.mkv", "out.unheardof"}), 2, "--output-format");
  expectError(run({"--output-format", "unheardof", "in.mkv", "out.mkv"}), 2, "unheardof");
  EXPECT_EQ(folder.names(), std::vector<std::string>{"in.mkv"});
}

TEST_F(Output, EncodersThatDoNotFit) {
  expectError(run({"--encoder", "unheardof", "in.mkv", "out.mkv"}), 2, "unheardof");
  expectError(run({"--encoder", "aac", "in.mkv", "out.mkv"}), 2, "no video encoder");
  expectError(run({"--encoder-option", "unheardof=1", "in.mkv", "out.mkv"}), 2, "unheardof");
  expectError(run({"--encoder", "ffv1", "in.mkv", "out.y4m"}), 2, "yuv4mpegpipe");
  expectError(run({"--encoder", "dvvideo", "in.mkv", "out.avi"}), 1,
              "cannot open the encoder dvvideo");
  EXPECT_EQ(folder.names(), std::vector<std::string>{"in.mkv"});
}

TEST_F(Output, WarnsOfTagsThatTheContainerCannotHold) {
  clip::Clip clip;
  clip.encoder = "ffv1";
  clip.tags.matrix = AVCOL_SPC_BT709;
  clip.tags.transfer = AVCOL_TRC_BT709;
  clip.pictures = clip::drawMany(AV_PIX_FMT_YUV420P, 64, 48, 2);
  clip::write(folder / "tagged.mkv", clip);
  for (const char* const out : {"out.y4m", "out.nut"}) {
    const Result result = run({"tagged.mkv", out});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_NE(result.err.find("cannot hold these tags of the video: matrix bt709, transfer bt709"),
              std::string::npos)
        << result.err;
  }
  EXPECT_EQ(run({"tagged.mkv", "out.mkv"}).err.find("warning"), std::string::npos);
}

}  // namespace
