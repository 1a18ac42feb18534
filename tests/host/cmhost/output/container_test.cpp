// Time stamps, tags and streams in the different containers.
#include <gtest/gtest.h>

#include "tests/host/cmhost/fixtures/clip.h"
#include "tests/host/cmhost/fixtures/program.h"

namespace {

using clip::Clip;

double seconds(const clip::Picture& picture, const clip::Tags& tags) {
  return static_cast<double>(picture.pts) * av_q2d(tags.timeBase);
}

class Container : public testing::Test {
 protected:
  static Clip plainClip(int count = 6) {
    Clip clip;
    clip.encoder = "ffv1";
    clip.tags.timeBase = {1, 1000};
    clip.pictures = clip::drawMany(AV_PIX_FMT_YUV420P, 160, 120, count);
    for (clip::Picture& picture : clip.pictures) picture.pts *= 40;
    return clip;
  }

  Clip runOver(const std::string& inputName, const std::string& outputName,
               std::vector<std::string> options = {}) {
    options.insert(options.end(), {"--overwrite", inputName, outputName});
    last = program::run(folder.path(), options);
    EXPECT_EQ(last.exitCode, 0) << last.err;
    return last.exitCode == 0 ? clip::read(folder / outputName) : Clip{};
  }

  program::Folder folder;
  program::Result last;
};

TEST_F(Container, UnevenTimesComeThroughExactly) {
  Clip input = plainClip();
  const std::int64_t times[] = {0, 40, 57, 500, 501, 10000};
  for (std::size_t i = 0; i < 6; ++i) input.pictures[i].pts = times[i];
  clip::write(folder / "in.mkv", input);
  for (const char* const name : {"out.mp4", "out.mov", "out.webm", "out.ts"}) {
    SCOPED_TRACE(name);
    const Clip output = runOver(
        "in.mkv", name, {"--encoder", name == std::string("out.webm") ? "libvpx" : "libx264"});
    ASSERT_EQ(output.pictures.size(), 6U);
    const std::int64_t begin = output.pictures[0].pts;
    for (std::size_t i = 0; i < 6; ++i)
      EXPECT_EQ(
          av_compare_ts(output.pictures[i].pts - begin, output.tags.timeBase, times[i], {1, 1000}),
          0)
          << "frame " << i;
    EXPECT_EQ(last.err.find("warning"), std::string::npos) << last.err;
  }
}

TEST_F(Container, SoundAndPictureStayTogether) {
  Clip input = plainClip(10);
  input.audio = clip::tone(10);
  for (clip::Picture& picture : input.pictures) picture.pts += 57;  // not a multiple of a frame
  clip::write(folder / "in.mkv", input);
  for (const char* const name : {"out.mov", "out.mkv", "out.nut"}) {
    SCOPED_TRACE(name);
    const Clip output = runOver("in.mkv", name);
    ASSERT_EQ(output.pictures.size(), 10U);
    ASSERT_GE(output.audio.size(), 1U);
    EXPECT_NEAR(seconds(output.pictures[0], output.tags) - output.audio[0].seconds, 0.057, 1e-4);
  }
}

TEST_F(Container, FieldOrderIsThatOfThePictures) {
  for (const bool topFirst : {true, false}) {
    Clip input = plainClip();
    // The container declares the opposite order.
    input.tags.fieldOrder = topFirst ? AV_FIELD_BT : AV_FIELD_TB;
    input.interlaced.assign(6, true);
    input.topFieldFirst.assign(6, topFirst);
    clip::write(folder / "in.mkv", input);
    for (const char* const name : {"out.y4m", "out.mkv", "out.mov", "out.mxf"}) {
      SCOPED_TRACE(std::string(name) + (topFirst ? " top first" : " bottom first"));
      const Clip output = runOver("in.mkv", name);
      EXPECT_EQ(output.interlaced, std::vector<bool>(6, true));
      EXPECT_EQ(output.topFieldFirst, std::vector<bool>(6, topFirst));
    }
  }
}

}  // namespace
