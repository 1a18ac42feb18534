// Files of many containers, truncated anywhere and read from disk and through a pipe: there is
// never an output, and the exit code is never 0.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <sstream>

#include "tests/host/cmhost/fixtures/clip.h"
#include "tests/host/cmhost/fixtures/program.h"

namespace {

struct Container {
  const char* name;
  const char* encoder;
  bool audio = false;
  AVPixelFormat format = AV_PIX_FMT_YUV420P;
  bool hasIndexAtEnd = false;  ///< cannot be read from a pipe
};

std::ostream& operator<<(std::ostream& out, const Container& container) {
  return out << container.name;
}

constexpr int pictures = 25;
constexpr int cuts = 16;

// The frame digests, without the header.
std::vector<std::string> digestsOf(const std::string& list) {
  std::vector<std::string> digests;
  std::istringstream lines(list);
  for (std::string line; std::getline(lines, line);)
    if (line[0] != '#') digests.push_back(line);
  return digests;
}

class Cut : public testing::TestWithParam<Container> {
 protected:
  void SetUp() override {
    const bool isDv = std::string(GetParam().name) == "dv";
    // The demuxer seeks back to the start of a frame, which a pipe allows only for a short
    // distance.
    const bool isGif = std::string(GetParam().name) == "gif";
    clip::Clip clip;
    clip.encoder = GetParam().encoder;
    clip.pictures = isDv    ? clip::drawMany(GetParam().format, 720, 576, 5)
                    : isGif ? clip::drawMany(GetParam().format, 48, 32, pictures)
                            : clip::drawMany(GetParam().format, 96, 64, pictures);
    if (GetParam().audio) clip.audio = clip::tone(pictures);
    if (isDv) clip.tags.sampleAspect = {16, 15};
    clip::write(folder / whole, clip);
    bytes = program::readFile(folder / whole);
  }

  static bool needsConversion() {
    return GetParam().format == AV_PIX_FMT_GRAY8 || GetParam().format == AV_PIX_FMT_RGB24;
  }

  program::Result run(const std::string& input, const std::vector<std::string>& options) {
    std::vector<std::string> arguments = options;
    if (needsConversion()) arguments.insert(arguments.end(), {"--convert", "IYUV"});
    arguments.insert(arguments.end(), {input, "out.nut"});
    return program::run(folder.path(), arguments);
  }

  program::Result runPipe(const std::string& content) {
    std::vector<std::string> arguments = {"-", "out.nut"};
    if (needsConversion()) arguments = {"--convert", "IYUV", "-", "out.nut"};
    program::Pipe in;
    program::Streams streams;
    streams.in = in.readEnd();
    program::Process process(folder.path(), arguments, streams);
    in.closeReadEnd();
    in.write(content);
    in.closeWriteEnd();
    return process.wait();
  }

  void expectToldAs(const std::string& name, const program::Result& run) {
    EXPECT_EQ(run.exitCode, 1) << run.err;
    EXPECT_NE(run.err.find(name + ": damaged or truncated: "), std::string::npos) << run.err;
    EXPECT_NE(run.err.find("; decoded "), std::string::npos) << run.err;
    EXPECT_EQ(folder.names(), (std::vector<std::string>{cut, whole}));
  }

  void expectTold(std::size_t size) {
    SCOPED_TRACE("cut to " + std::to_string(size) + " of " + std::to_string(bytes.size()));
    program::writeFile(folder / cut, bytes.substr(0, size));
    expectToldAs(cut, run(cut, {}));
    expectToldAs("standard input", runPipe(bytes.substr(0, size)));
  }

  void expectWholeIsTaken() {
    const std::size_t count = clip::read(folder / whole).pictures.size();
    const program::Result fromFile = run(whole, {});
    EXPECT_EQ(fromFile.exitCode, 0) << fromFile.err;
    EXPECT_EQ(clip::read(folder / "out.nut").pictures.size(), count);
    if (GetParam().hasIndexAtEnd) return;
    std::filesystem::remove(folder / "out.nut");
    const program::Result fromPipe = runPipe(bytes);
    EXPECT_EQ(fromPipe.exitCode, 0) << fromPipe.err;
    EXPECT_EQ(clip::read(folder / "out.nut").pictures.size(), count);
  }

  // In a transport stream, truncation is detected only inside a packet.
  std::size_t cutAt(std::size_t size) const {
    return std::string(GetParam().name) == "ts" && size % 188 == 0 ? size + 1 : size;
  }

  const std::string whole = std::string("whole.") + GetParam().name;
  const std::string cut = std::string("cut.") + GetParam().name;
  program::Folder folder;
  std::string bytes;
};

class ClosedCut : public Cut {};

TEST_P(ClosedCut, IsAlwaysTold) {
  for (std::size_t i = 1; i <= cuts; ++i) expectTold(cutAt((bytes.size() - 1) * i / cuts));
  expectTold(cutAt(bytes.size() - 100));
}

// These containers do not declare the number of frames, so that truncation between two frames
// cannot be detected. If a run succeeds, its frames must be the first frames of the complete file.
class OpenCut : public Cut {};

TEST_P(OpenCut, NothingIsInvented) {
  ASSERT_EQ(run(whole, {"--hash", "whole.md5"}).exitCode, 0);
  const auto due = digestsOf(program::readFile(folder / "whole.md5"));
  int told = 0;
  for (std::size_t i = 1; i <= cuts; ++i) {
    program::writeFile(folder / cut, bytes.substr(0, (bytes.size() - 1) * i / cuts));
    const program::Result result = run(cut, {"--overwrite", "--hash", "cut.md5"});
    if (result.exitCode == 1) {
      ++told;
      continue;
    }
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const auto got = digestsOf(program::readFile(folder / "cut.md5"));
    ASSERT_LE(got.size(), due.size());
    EXPECT_TRUE(std::equal(got.begin(), got.end(), due.begin())) << "cut " << i;
  }
  EXPECT_GE(told, cuts * 3 / 4);  // only few of the cuts are between two frames
}

// These containers declare their size, so that truncation between two packets is detected as well.
class CountedCut : public Cut {};

TEST_P(CountedCut, IsToldBetweenPackets) {
  const std::vector<std::int64_t> places = clip::packetPlaces(folder / whole);
  ASSERT_GE(places.size(), 5U);
  for (const std::size_t fromEnd : {1U, 2U, 5U})
    expectTold(static_cast<std::size_t>(places[places.size() - fromEnd]));
}

TEST_P(ClosedCut, WholeFileIsTaken) { expectWholeIsTaken(); }
TEST_P(OpenCut, WholeFileIsTaken) { expectWholeIsTaken(); }

std::string nameOf(const testing::TestParamInfo<Container>& test) { return test.param.name; }

INSTANTIATE_TEST_SUITE_P(
    Containers, ClosedCut,
    testing::Values(Container{"mxf", "mpeg2video", true}, Container{"flv", "flv"},
                    Container{"ogg", "libtheora"}, Container{"wmv", "wmv2", true},
                    Container{"mpg", "mpeg2video"}, Container{"vob", "mpeg2video"},
                    Container{"ts", "mpeg2video"}, Container{"webm", "libvpx"},
                    Container{"mkv", "ffv1", true},
                    Container{"mov", "mpeg4", true, AV_PIX_FMT_YUV420P, true},
                    Container{"avi", "mpeg4", true}, Container{"nut", "ffv1", true},
                    Container{"gif", "gif", false, AV_PIX_FMT_GRAY8},
                    Container{"apng", "apng", false, AV_PIX_FMT_RGB24}, Container{"dv", "dvvideo"}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(Containers, CountedCut,
                         testing::Values(Container{"mxf", "mpeg2video"},
                                         Container{"ogg", "libtheora"}, Container{"wmv", "wmv2"},
                                         Container{"webm", "libvpx"}, Container{"mkv", "ffv1"},
                                         Container{"mov", "mpeg4", false, AV_PIX_FMT_YUV420P, true},
                                         Container{"avi", "mpeg4"}, Container{"nut", "ffv1"},
                                         Container{"rm", "rv20"},
                                         Container{"gif", "gif", false, AV_PIX_FMT_GRAY8}),
                         nameOf);

// The last bytes of RealMedia are not counted anywhere.
INSTANTIATE_TEST_SUITE_P(Containers, OpenCut,
                         testing::Values(Container{"rm", "rv20"},
                                         Container{"mjpeg", "mjpeg", false, AV_PIX_FMT_YUVJ420P},
                                         Container{"h264", "libx264"},
                                         Container{"hevc", "libx265"}),
                         nameOf);

}  // namespace
