// A file that grows while it is read is used up to the end reached first, with a warning.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>

#include "tests/host/cmhost/fixtures/clip.h"
#include "tests/host/cmhost/fixtures/program.h"

namespace {

using program::Result;

// More frames than the pipe and the program can hold.
constexpr int many = 400;

struct Container {
  const char* name;
  const char* encoder;
  AVPixelFormat format = AV_PIX_FMT_YUV420P;
};

std::ostream& operator<<(std::ostream& out, const Container& container) {
  return out << container.name;
}

class GrowingFile : public testing::Test {
 protected:
  std::string make(const std::string& name, const char* encoder,
                   AVPixelFormat format = AV_PIX_FMT_YUV420P) {
    clip::Clip clip;
    clip.encoder = encoder;
    clip.keyInterval = 12;
    clip.pictures = clip::drawMany(format, 160, 120, many);
    clip::write(folder / name, clip);
    return program::readFile(folder / name);
  }

  // The demuxer of raw JPEG does not report packet offsets.
  std::vector<std::int64_t> places(const std::string& name, const std::string& whole) const {
    if (name != "in.mjpeg") return clip::packetPlaces(folder / name);
    std::vector<std::int64_t> result;
    for (std::size_t at = 0; (at = whole.find("\xFF\xD8\xFF", at)) != std::string::npos; ++at)
      result.push_back(static_cast<std::int64_t>(at));
    return result;
  }

  // Runs with a file and appends `rest` to it while the run is blocked because nobody reads its
  // output.
  Result runWhile(const std::string& name, const std::string& begin, const std::string& rest) {
    program::writeFile(folder / name, begin);
    program::Pipe out;
    program::Streams streams;
    streams.out = out.writeEnd();
    program::Process process(folder.path(), {name, "-"}, streams);
    out.closeWriteEnd();
    char first = 0;
    EXPECT_EQ(::read(out.readEnd(), &first, 1), 1);  // the run has started
    std::ofstream(folder / name, std::ios::binary | std::ios::app) << rest;
    output = first + out.readAll();
    return process.wait();
  }

  std::vector<std::string> frames() const {
    const std::string mark = "FRAME\n";
    std::vector<std::string> result;
    for (std::size_t at = output.find(mark); at != std::string::npos;) {
      const std::size_t next = output.find(mark, at + 1);
      result.push_back(output.substr(at, next - at));
      at = next;
    }
    return result;
  }

  static bool holdsInOrder(const std::vector<std::string>& all,
                           const std::vector<std::string>& some) {
    auto at = all.begin();
    for (const std::string& each : some) {
      at = std::find(at, all.end(), each);
      if (at == all.end()) return false;
    }
    return true;
  }

  // One warning with the number of bytes used.
  static void expectWarning(const Result& result, const std::string& name, std::size_t bytes) {
    EXPECT_EQ(result.exitCode, 0) << result.err;
    const std::string warning = name + ": the file grew while it was being read; only the first " +
                                std::to_string(bytes) + " bytes were used\n";
    EXPECT_NE(result.err.find("warning: " + warning), std::string::npos) << result.err;
    EXPECT_EQ(result.err.find("grew while"), result.err.rfind("grew while")) << result.err;
  }

  program::Folder folder;
  std::string output;
};

class GrowingContainer : public GrowingFile, public testing::WithParamInterface<Container> {};

TEST_F(GrowingFile, IsTakenAsItWasAtTheEnd) {
  const std::string whole = make("in.mkv", "ffv1");
  const Result result =
      runWhile("in.mkv", whole.substr(0, whole.size() / 2), whole.substr(whole.size() / 2));
  expectWarning(result, "in.mkv", whole.size());
  EXPECT_EQ(frames().size(), std::size_t{many});
}

TEST_F(GrowingFile, NeedsNoEndYet) {
  const std::string whole = make("in.nut", "ffv1");
  const std::size_t index = whole.find("\x4E\x58\xDD\x67\x2F\x23\xE6\x4E");
  ASSERT_NE(index, std::string::npos);
  const Result result = runWhile("in.nut", whole.substr(0, whole.size() / 2),
                                 whole.substr(whole.size() / 2, index - whole.size() / 2));
  expectWarning(result, "in.nut", index);
  EXPECT_EQ(frames().size(), std::size_t{many});
}

// The common case: the file ends inside a frame.
TEST_P(GrowingContainer, EndsWithinAPicture) {
  const std::string name = std::string("in.") + GetParam().name;
  const std::string whole = make(name, GetParam().encoder, GetParam().format);
  const auto begins = places(name, whole);
  ASSERT_EQ(begins.size(), std::size_t{many});
  ASSERT_EQ(runWhile(name, whole, "").exitCode, 0);
  const std::vector<std::string> due = frames();

  constexpr std::size_t complete = many * 7 / 10;
  const auto end = static_cast<std::size_t>((begins[complete] + begins[complete + 1]) / 2);
  const std::size_t half = whole.size() / 2;
  const Result result = runWhile(name, whole.substr(0, half), whole.substr(half, end - half));
  expectWarning(result, name, end);
  EXPECT_EQ(frames().size(), complete);
  EXPECT_TRUE(holdsInOrder(due, frames()));
}

// The demuxer stops at the size that the file had when it was opened.
TEST_F(GrowingFile, FragmentsAddedLaterAreLeftOutWithAWarning) {
  const std::string whole = make("in.ismv", "mpeg4");
  const std::size_t half = whole.size() / 2;
  const Result result =
      runWhile("in.ismv", whole.substr(0, half), whole.substr(half, whole.size() / 5));
  expectWarning(result, "in.ismv", half);
  EXPECT_GT(frames().size(), std::size_t{many / 3});
  EXPECT_LT(frames().size(), std::size_t{many / 2});
}

// Growth by one byte does not hide truncation.
TEST_F(GrowingFile, WarnsOfACutThatGrows) {
  const std::string whole = make("in.ts", "mpeg2video");
  const std::size_t half = whole.size() / 2 / 188 * 188 + 50;
  const Result result = runWhile("in.ts", whole.substr(0, half), whole.substr(half, 1));
  expectWarning(result, "in.ts", half + 1);
}

class GrowingPastDamage : public GrowingContainer {};

// Damage before the end is still an error.
TEST_P(GrowingPastDamage, IsTold) {
  const std::string name = std::string("in.") + GetParam().name;
  std::string whole = make(name, GetParam().encoder, GetParam().format);
  const auto begins = places(name, whole);
  ASSERT_EQ(begins.size(), std::size_t{many});
  constexpr std::size_t complete = many * 7 / 10;
  const auto end = static_cast<std::size_t>((begins[complete] + begins[complete + 1]) / 2);
  const std::size_t half = whole.size() / 2;
  const auto damage = whole.begin() + begins[complete - 60];
  std::fill_n(damage + 60, 800, '\0');
  const Result result = runWhile(name, whole.substr(0, half), whole.substr(half, end - half));
  EXPECT_EQ(result.exitCode, 1) << result.err;
}

std::string nameOf(const testing::TestParamInfo<Container>& test) { return test.param.name; }

constexpr Container delimited[] = {{"mkv", "ffv1"}, {"nut", "ffv1"},    {"avi", "mpeg4"},
                                   {"flv", "flv"},  {"webm", "libvpx"}, {"mxf", "mpeg2video"}};
constexpr Container undelimited[] = {
    {"ts", "mpeg2video"}, {"m2ts", "libx264"}, {"m2v", "mpeg2video"},
    {"h264", "libx264"},  {"hevc", "libx265"}, {"mjpeg", "mjpeg", AV_PIX_FMT_YUVJ420P}};

INSTANTIATE_TEST_SUITE_P(Delimited, GrowingContainer, testing::ValuesIn(delimited), nameOf);
INSTANTIATE_TEST_SUITE_P(Delimited, GrowingPastDamage, testing::ValuesIn(delimited), nameOf);
INSTANTIATE_TEST_SUITE_P(Undelimited, GrowingContainer, testing::ValuesIn(undelimited), nameOf);
INSTANTIATE_TEST_SUITE_P(Undelimited, GrowingPastDamage, testing::ValuesIn(undelimited), nameOf);

// Raw video cannot be damaged.
INSTANTIATE_TEST_SUITE_P(Raw, GrowingContainer,
                         testing::Values(Container{"y4m", "wrapped_avframe"}), nameOf);

}  // namespace
