// Properties of the video other than its samples, and the other streams.
#include <gtest/gtest.h>

#include "tests/host/cmhost/fixtures/clip.h"
#include "tests/host/cmhost/fixtures/program.h"

namespace {

using clip::Clip;
using program::Folder;

double seconds(const clip::Picture& picture, const clip::Tags& tags) {
  return static_cast<double>(picture.pts) * av_q2d(tags.timeBase);
}

class Streams : public testing::Test {
 protected:
  static Clip plainClip(int count = 6, AVPixelFormat format = AV_PIX_FMT_YUV420P) {
    Clip clip;
    clip.encoder = "ffv1";
    clip.pictures = clip::drawMany(format, 160, 120, count);
    return clip;
  }

  Clip runOver(const Clip& input, const std::string& inputName, const std::string& outputName,
               std::vector<std::string> options = {}) {
    clip::write(folder / inputName, input);
    options.insert(options.end(), {inputName, outputName});
    last = program::run(folder.path(), options);
    EXPECT_EQ(last.exitCode, 0) << last.err;
    return last.exitCode == 0 ? clip::read(folder / outputName) : Clip{};
  }

  Folder folder;
  program::Result last;
};

TEST_F(Streams, TagsRateAndAspectComeThrough) {
  Clip input = plainClip();
  input.tags.rate = {30000, 1001};
  input.tags.timeBase = {1001, 30000};
  input.tags.sampleAspect = {16, 15};
  input.tags.range = AVCOL_RANGE_MPEG;
  input.tags.primaries = AVCOL_PRI_BT470BG;
  input.tags.transfer = AVCOL_TRC_SMPTE170M;
  input.tags.matrix = AVCOL_SPC_BT470BG;
  input.tags.chroma = AVCHROMA_LOC_LEFT;
  const Clip output = runOver(input, "in.mkv", "out.mkv");
  EXPECT_EQ(av_cmp_q(output.tags.rate, {30000, 1001}), 0);
  EXPECT_EQ(av_cmp_q(output.tags.sampleAspect, {16, 15}), 0);
  EXPECT_EQ(output.tags.range, AVCOL_RANGE_MPEG);
  EXPECT_EQ(output.tags.primaries, AVCOL_PRI_BT470BG);
  EXPECT_EQ(output.tags.transfer, AVCOL_TRC_SMPTE170M);
  EXPECT_EQ(output.tags.matrix, AVCOL_SPC_BT470BG);
  EXPECT_EQ(output.tags.chroma, AVCHROMA_LOC_LEFT);
}

TEST_F(Streams, RateAspectAndRangeComeThroughInY4m) {
  Clip input = plainClip();
  input.encoder = "wrapped_avframe";
  input.tags.rate = {60000, 1001};
  input.tags.timeBase = {1001, 60000};
  input.tags.sampleAspect = {8, 9};
  input.tags.range = AVCOL_RANGE_JPEG;
  const Clip output = runOver(input, "in.y4m", "out.y4m");
  EXPECT_EQ(av_cmp_q(output.tags.rate, {60000, 1001}), 0);
  EXPECT_EQ(av_cmp_q(output.tags.sampleAspect, {8, 9}), 0);
  EXPECT_EQ(output.tags.range, AVCOL_RANGE_JPEG);
  EXPECT_EQ(output.pictures.size(), 6U);
}

TEST_F(Streams, FieldOrderComesThrough) {
  for (const bool topFirst : {true, false}) {
    Clip input = plainClip();
    input.tags.fieldOrder = topFirst ? AV_FIELD_TT : AV_FIELD_BB;
    input.interlaced.assign(6, true);
    input.topFieldFirst.assign(6, topFirst);
    const Clip output = runOver(input, "in.mkv", "out.mkv", {"--overwrite"});
    EXPECT_EQ(output.tags.fieldOrder, topFirst ? AV_FIELD_TT : AV_FIELD_BB);
    EXPECT_EQ(output.interlaced, std::vector<bool>(6, true));
    EXPECT_EQ(output.topFieldFirst, std::vector<bool>(6, topFirst));
  }
}

TEST_F(Streams, UnevenTimeStampsComeThroughExactly) {
  Clip input = plainClip();
  input.tags.timeBase = {1, 1000};
  const std::int64_t times[] = {40, 80, 97, 500, 501, 10000};
  for (std::size_t i = 0; i < 6; ++i) input.pictures[i].pts = times[i];
  for (const char* const name : {"out.mkv", "out.nut"}) {
    const Clip output = runOver(input, "in.mkv", name);
    ASSERT_EQ(output.pictures.size(), 6U);
    for (std::size_t i = 0; i < 6; ++i)
      EXPECT_EQ(av_compare_ts(output.pictures[i].pts, output.tags.timeBase, times[i], {1, 1000}), 0)
          << name << " frame " << i;
    EXPECT_EQ(last.err.find("warning"), std::string::npos) << last.err;
  }
}

TEST_F(Streams, TimeStampsThatTheContainerCannotKeepAreToldOf) {
  Clip input = plainClip(5);
  input.tags.timeBase = {1, 1000};
  const std::int64_t times[] = {0, 40, 57, 120, 160};
  for (std::size_t i = 0; i < 5; ++i) input.pictures[i].pts = times[i];
  const Clip output = runOver(input, "in.mkv", "out.y4m");
  EXPECT_EQ(output.pictures.size(), 5U);
  EXPECT_NE(last.err.find("warning: time stamps are rounded"), std::string::npos) << last.err;
}

TEST_F(Streams, AudioAndSubtitlesAreCopied) {
  Clip input = plainClip(10);
  input.audio = clip::tone(10);
  input.subtitles = {{{'o', 'n', 'e'}, 0.0}, {{'t', 'w', 'o'}, 0.2}};
  const Clip output = runOver(input, "in.mkv", "out.mkv");
  ASSERT_EQ(output.audio.size(), 10U);
  for (std::size_t i = 0; i < 10; ++i) {
    EXPECT_EQ(output.audio[i].data, input.audio[i].data);
    EXPECT_NEAR(output.audio[i].seconds, input.audio[i].seconds, 1e-3);
  }
  ASSERT_EQ(output.subtitles.size(), 2U);
  EXPECT_EQ(output.subtitles[1].data, input.subtitles[1].data);
  EXPECT_NEAR(output.subtitles[1].seconds, 0.2, 1e-3);
  for (std::size_t i = 0; i < 10; ++i)
    EXPECT_NEAR(seconds(output.pictures[i], output.tags), static_cast<double>(i) / 25, 1e-3);
}

TEST_F(Streams, WhatTheContainerDoesNotTakeIsLeftOutWithAWarning) {
  Clip input = plainClip();
  input.audio = clip::tone(6);
  const Clip output = runOver(input, "in.mkv", "out.y4m");
  EXPECT_EQ(output.pictures.size(), 6U);
  EXPECT_NE(last.err.find("warning: stream 1 (audio, pcm_s16le) is not copied"), std::string::npos)
      << last.err;
}

TEST_F(Streams, AudioThatStartsBeforeThePictureIsNotLost) {
  Clip input = plainClip(5);
  input.audio = clip::tone(10);
  for (clip::Picture& picture : input.pictures) picture.pts += 5;
  const Clip output = runOver(input, "in.mkv", "out.mkv");
  EXPECT_EQ(output.audio.size(), 10U);
  EXPECT_NEAR(seconds(output.pictures.at(0), output.tags), 0.2, 1e-3);
}

TEST_F(Streams, EncoderAndItsOptionsCanBeChosen) {
  const Clip output =
      runOver(plainClip(), "in.mkv", "out.mkv",
              {"--encoder", "mpeg4", "--encoder-option", "qmin=2", "--encoder-option", "qmax=2"});
  EXPECT_EQ(output.encoder, "mpeg4");
  EXPECT_EQ(output.pictures.size(), 6U);
}

TEST_F(Streams, ConversionIsMadeWhenAskedFor) {
  const Clip output =
      runOver(plainClip(6, AV_PIX_FMT_YUV420P10LE), "in.mkv", "out.mkv", {"--convert", "IYUV"});
  ASSERT_EQ(output.pictures.size(), 6U);
  EXPECT_EQ(output.pictures[0].format, AV_PIX_FMT_YUV420P);
  for (const char* const fourcc : {"Y22P", "Y44P"}) {
    const Clip converted = runOver(plainClip(), "in.mkv", "out.mkv",
                                   {"--lossless", "--convert", fourcc, "--overwrite"});
    ASSERT_EQ(converted.pictures.size(), 6U);
    EXPECT_EQ(converted.pictures[0].format,
              fourcc == std::string("Y22P") ? AV_PIX_FMT_YUV422P : AV_PIX_FMT_YUV444P);
    // Converting the chroma layout does not change luma outside of the mark.
    const clip::Picture before = clip::read(folder / "in.mkv").pictures.at(0);
    EXPECT_TRUE(std::equal(before.planes[0].begin(), before.planes[0].begin() + 160 * 40,
                           converted.pictures[0].planes[0].begin()));
  }
}

TEST_F(Streams, RecordingOfABroadcastMayStartAnywhere) {
  Clip input = plainClip(40);
  input.keyInterval = 12;
  for (const char* const encoder : {"mpeg2video", "libx264", "libx265"}) {
    SCOPED_TRACE(encoder);
    input.encoder = encoder;
    clip::write(folder / "whole.ts", input);
    const std::string whole = program::readFile(folder / "whole.ts");
    const std::size_t start = whole.size() / 188 / 4 * 188;
    program::writeFile(folder / "late.ts", whole.substr(start));
    const auto run = program::run(folder.path(), {"--overwrite", "late.ts", "out.mkv"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    const Clip output = clip::read(folder / "out.mkv");
    EXPECT_GT(output.pictures.size(), 10U);
    EXPECT_LT(output.pictures.size(), 36U);
  }
}

TEST_F(Streams, SameRunGivesTheSameFile) {
  Clip input = plainClip();
  input.audio = clip::tone(6);
  runOver(input, "in.mkv", "one.mkv", {"--lossless"});
  runOver(input, "in.mkv", "two.mkv", {"--lossless"});
  EXPECT_EQ(program::readFile(folder / "one.mkv"), program::readFile(folder / "two.mkv"));
}

}  // namespace
