// Quality in plain words: --crf, --bitrate, --preset, --lossless, --threads, --list-encoders.
#include <gtest/gtest.h>

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <chrono>
#include <filesystem>
#include <sstream>
#include <thread>

#include "tests/host/cmhost/fixtures/program.h"

namespace {

class Quality : public testing::Test {
 protected:
  // Noise, so that an encoder uses all the bits it is allowed.
  void SetUp() override {
    program::ffmpeg(folder.path(),
                    "-f lavfi -i 'nullsrc=size=128x96:rate=25,geq=random(1)*255:128:128' -t 1 "
                    "-pix_fmt yuv420p -c:v ffv1 in.mkv");
  }

  program::Result run(std::vector<std::string> options, const std::string& output) {
    options.insert(options.end(), {"-q", "--overwrite", "in.mkv", output});
    return program::run(folder.path(), options);
  }

  std::uintmax_t sizeWith(const std::string& encoder, const std::vector<std::string>& options) {
    std::vector<std::string> all = {"--encoder", encoder};
    all.insert(all.end(), options.begin(), options.end());
    const program::Result result = run(all, "out.mkv");
    EXPECT_EQ(result.exitCode, 0) << result.err;
    return result.exitCode == 0 ? std::filesystem::file_size(folder / "out.mkv") : 0;
  }

  void expectRefused(const std::vector<std::string>& options, const std::string& message) {
    const program::Result result = run(options, "out.mkv");
    EXPECT_EQ(result.exitCode, 2) << message;
    EXPECT_EQ(result.err, "cmhost: error: " + message + "\n");
    EXPECT_FALSE(std::filesystem::exists(folder / "out.mkv"));
  }

  std::string codecOf(const std::string& file) {
    const std::string found = program::probe(folder.path(), file, "stream=codec_name");
    return found.substr(0, found.find('\n'));
  }

  program::Folder folder;
};

bool exists(const std::string& encoder) {
  return avcodec_find_encoder_by_name(encoder.c_str()) != nullptr;
}

TEST_F(Quality, CrfSelectsTheQuality) {
  for (const std::string encoder :
       {"libx264", "libx265", "libvpx-vp9", "libvpx", "libsvtav1", "libaom-av1"}) {
    if (!exists(encoder)) continue;
    SCOPED_TRACE(encoder);
    const std::string best = encoder == "libvpx" ? "10" : "5";
    const std::string worst = encoder[3] == 'x' ? "50" : "62";
    EXPECT_LT(sizeWith(encoder, {"--crf", worst}) * 2, sizeWith(encoder, {"--crf", best}));
  }
}

TEST_F(Quality, BitrateIsFollowed) {
  for (const std::string encoder :
       {"libx264", "libx265", "libvpx-vp9", "libaom-av1", "mpeg2video", "mpeg4"}) {
    if (!exists(encoder)) continue;
    SCOPED_TRACE(encoder);
    EXPECT_LT(sizeWith(encoder, {"--bitrate", "150k"}) * 2,
              sizeWith(encoder, {"--bitrate", "3.5M"}));
  }
  const auto size = static_cast<double>(sizeWith("libx264", {"--bitrate", "2M"}));
  EXPECT_NEAR(size, 2e6 / 8, 0.3 * 2e6 / 8);
}

TEST_F(Quality, PresetIsThatOfTheEncoder) {
  const auto bytesWith = [this](const std::string& encoder, const std::string& preset) {
    EXPECT_GT(sizeWith(encoder, {"--preset", preset}), 0U);
    return program::readFile(folder / "out.mkv");
  };
  EXPECT_NE(bytesWith("libx264", "ultrafast").find("cabac=0"), std::string::npos);
  EXPECT_NE(bytesWith("libx264", "slow").find("cabac=1"), std::string::npos);
  for (const std::string encoder : {"libx265", "libvpx-vp9", "libsvtav1", "libaom-av1"}) {
    if (!exists(encoder)) continue;
    const bool isNamed = encoder == "libx265";
    const std::string fast = bytesWith(encoder, isNamed ? "ultrafast" : "5");
    EXPECT_TRUE(fast != bytesWith(encoder, isNamed ? "medium" : "2")) << encoder;
    EXPECT_TRUE(fast != bytesWith(encoder, isNamed ? "faster" : "8")) << encoder;
  }
  program::ffmpeg(folder.path(),
                  "-i in.mkv -vf scale=320:240 -pix_fmt yuv422p -c:v ffv1 in422.mkv");
  std::filesystem::rename(folder / "in422.mkv", folder / "in.mkv");
  EXPECT_LT(sizeWith("dnxhd", {"--preset", "dnxhr_lb"}),
            sizeWith("dnxhd", {"--preset", "dnxhr_hq"}));
}

TEST_F(Quality, LosslessKeepsEverySample) {
  const struct {
    std::vector<std::string> options;
    std::string output, codec;
  } cases[] = {
      {{}, "out.mkv", "ffv1"},
      {{}, "out.avi", "ffv1"},
      {{}, "out.mp4", "h264"},
      {{}, "out.mov", "h264"},
      {{}, "out.ts", "h264"},
      {{}, "out.webm", "vp9"},
      {{}, "out.nut", "rawvideo"},
      {{}, "out.y4m", "rawvideo"},
      {{"--encoder", "libx265"}, "out.mkv", "hevc"},
      {{"--encoder", "libx265", "--threads", "1"}, "out.mkv", "hevc"},
      {{"--encoder", "libx265", "--encoder-option", "x265-params=bframes=0"}, "out.mp4", "hevc"},
      {{"--encoder", "libaom-av1"}, "out.mkv", "av1"},
      {{"--encoder", "ffvhuff"}, "out.mkv", "ffvhuff"},
      {{"--encoder", "libx264", "--preset", "ultrafast"}, "out.mkv", "h264"},
  };
  ASSERT_EQ(run({"--hash", "marked.md5"}, "null:").exitCode, 0);
  const auto digests = [](const std::string& text) {
    std::vector<std::string> all;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
      if (!line.empty() && line[0] != '#') all.push_back(line.substr(line.rfind(' ') + 1));
    }
    return all;
  };
  const auto expected = digests(program::readFile(folder / "marked.md5"));
  ASSERT_EQ(expected.size(), 25U);
  for (const auto& each : cases) {
    SCOPED_TRACE(each.output + " " + each.codec);
    if (each.options.size() > 1 && !exists(each.options[1])) continue;
    std::vector<std::string> options = each.options;
    options.push_back("--lossless");
    const program::Result result = run(options, each.output);
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(codecOf(each.output), "codec_name=" + each.codec);
    EXPECT_EQ(digests(program::ffmpeg(folder.path(), "-bitexact -i " + each.output +
                                                         " -map 0:v -bitexact -f framemd5 -")),
              expected);
  }
}

TEST_F(Quality, WhatAnEncoderLacksIsRefusedWithWhatItHas) {
  expectRefused({"--encoder", "ffv1", "--crf", "18"},
                "the encoder ffv1 has no --crf; it has --lossless; see cmhost --list-encoders");
  expectRefused(
      {"--encoder", "mpeg2video", "--crf", "4"},
      "the encoder mpeg2video has no --crf; it has --bitrate; see cmhost --list-encoders");
  expectRefused({"--encoder", "ffv1", "--bitrate", "5M"},
                "the encoder ffv1 has no --bitrate; it has --lossless; see cmhost "
                "--list-encoders");
  expectRefused({"--encoder", "prores_ks", "--bitrate", "5M"},
                "the encoder prores_ks has no --bitrate; it has --preset; see cmhost "
                "--list-encoders");
  expectRefused({"--encoder", "mpeg4", "--preset", "fast"},
                "the encoder mpeg4 has no --preset; it has --bitrate; see cmhost --list-encoders");
  expectRefused({"--encoder", "mpeg4", "--lossless"},
                "the encoder mpeg4 has no --lossless; it has --bitrate; FFV1 in Matroska, libx264, "
                "libx265 and libvpx-vp9 can be lossless");
}

TEST_F(Quality, ValuesThatAnEncoderDoesNotTakeAreRefused) {
  expectRefused({"--encoder", "libx264", "--preset", "7"},
                "--preset: the encoder libx264 has no '7'; it has ultrafast, superfast, veryfast, "
                "faster, fast, medium, slow, slower, veryslow, placebo");
  expectRefused({"--encoder", "libvpx-vp9", "--preset", "fast"},
                "--preset: the encoder libvpx-vp9 has no 'fast'; it has 0 to 8");
  expectRefused({"--encoder", "libx264", "--preset", "fast,slow"},
                "--preset: the encoder libx264 has no 'fast,slow'; it has ultrafast, superfast, "
                "veryfast, faster, fast, medium, slow, slower, veryslow, placebo");
  expectRefused({"--crf", "55"}, "--crf: the encoder libx264 takes 0 to 51, not 55");
  expectRefused({"--encoder", "libvpx-vp9", "--crf", "20.5"},
                "--crf: the encoder libvpx-vp9 takes whole numbers, not 20.5");
  EXPECT_EQ(run({"--crf", "18.5"}, "out.mkv").exitCode, 0);
}

TEST_F(Quality, ValuesAreChecked) {
  const std::vector<std::vector<std::string>> wrong = {{"--crf", "-1"},
                                                       {"--crf", "64"},
                                                       {"--crf", "good"},
                                                       {"--crf", ""},
                                                       {"--crf", "1.2.3"},
                                                       {"--bitrate", "0"},
                                                       {"--bitrate", "5X"},
                                                       {"--bitrate", "-1M"},
                                                       {"--bitrate", "fast"},
                                                       {"--bitrate", ""},
                                                       {"--bitrate", "9G"},
                                                       {"--threads", "-1"},
                                                       {"--threads", "two"},
                                                       {"--preset", ""},
                                                       {"--crf", "18", "--bitrate", "5M"},

                                                       {"--lossless", "--crf", "18"}};
  for (const auto& options : wrong) {
    const program::Result result = run(options, "out.mkv");
    EXPECT_EQ(result.exitCode, 2) << options[0] << " " << options.back();
    EXPECT_EQ(result.err.rfind("cmhost: error: --", 0), 0U) << result.err;
  }
}

TEST_F(Quality, ThreadsOfTheEncoderAreLimited) {
  // These encoders write their settings into the stream.
  sizeWith("libx264", {"--threads", "3"});
  EXPECT_NE(program::readFile(folder / "out.mkv").find(" threads=3 "), std::string::npos);
  sizeWith("libx264", {"--threads", "1"});
  EXPECT_NE(program::readFile(folder / "out.mkv").find(" threads=1 "), std::string::npos);
  sizeWith("libx265", {"--threads", "1"});
  EXPECT_NE(program::readFile(folder / "out.mkv").find("frame-threads=1"), std::string::npos);
}

TEST_F(Quality, ThreadsOfTheDecoderAreLimited) {
  const std::string input =
      program::ffmpeg(folder.path(), "-i in.mkv -c:v libx264 -g 1 -f matroska -");
  const auto threadsWith = [this, &input](const char* threads) {
    program::Pipe pipe;
    program::Streams streams;
    streams.in = pipe.readEnd();
    program::Process process(folder.path(), {"--threads", threads, "-", "null:"}, streams);
    pipe.write(input);
    // The module is configured after the decoder is opened.
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (process.errSoFar().find("Size: ") == std::string::npos &&
           std::chrono::steady_clock::now() < end)
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    const int count = process.threads();
    pipe.closeWriteEnd();
    EXPECT_EQ(process.wait().exitCode, 0);
    return count;
  };
  EXPECT_GT(threadsWith("6"), threadsWith("1") + 2);
}

TEST_F(Quality, EncodersAreListedByContainer) {
  const program::Result result = program::run(folder.path(), {"--list-encoders"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.err, "");
  std::vector<std::string> lines;
  std::istringstream text(result.out);
  for (std::string line; std::getline(text, line);) {
    EXPECT_LE(line.size(), 79U);
    lines.push_back(line);
  }
  const auto has = [&result](const std::string& part) {
    return result.out.find(part) != std::string::npos;
  };
  for (const char* const extension :
       {"mp4", "mov", "mkv", "webm", "ts", "mpg", "avi", "mxf", "nut", "y4m", "ogv"})
    EXPECT_TRUE(has("\n  " + std::string(extension) + " ")) << extension;
  EXPECT_TRUE(has("  mkv         libx264 (default), ")) << result.out;
  EXPECT_TRUE(has("  webm        libvpx-vp9 (default), ")) << result.out;
  EXPECT_TRUE(has("  mpeg2video  --bitrate\n")) << result.out;
  EXPECT_TRUE(has("  ffv1        --lossless (always)\n")) << result.out;
  EXPECT_TRUE(has("  libx264     --crf (0 to 51); --bitrate; --preset (ultrafast, ")) << result.out;
}

TEST_F(Quality, ListedDefaultsAreThoseInUse) {
  const program::Result list = program::run(folder.path(), {"--list-encoders"});
  std::istringstream lines(list.out);
  int count = 0;
  for (std::string line; std::getline(lines, line);) {
    if (line.find(" (default)") == std::string::npos) continue;
    ++count;
    std::istringstream words(line);
    std::string container;
    std::string encoder;
    words >> container >> encoder;
    const std::string output = "out." + container;
    const std::string summary = std::string(output).append(" (").append(encoder).append(" in ");
    const program::Result result =
        program::run(folder.path(), {"--overwrite", "--frames", "3", "in.mkv", output});
    ASSERT_EQ(result.exitCode, 0) << output << result.err;
    EXPECT_NE(result.err.find(summary), std::string::npos) << result.err;
  }
  EXPECT_GE(count, 12);
}

TEST_F(Quality, CodecOfABroadcastIsKept) {
  const struct {
    const char *encoder, *output, *codec;
  } cases[] = {
      {"mpeg2video", "out.ts", "mpeg2video"},  {"libx264", "out.ts", "h264"},
      {"libx265", "out.ts", "hevc"},           {"mpeg4", "out.ts", "mpeg2video"},
      {"ffv1", "out.ts", "mpeg2video"},        {"mpeg2video", "out.mpg", "mpeg2video"},
      {"mpeg1video", "out.mpg", "mpeg1video"}, {"libx264", "out.mpg", "mpeg2video"},
      {"mpeg2video", "out.mkv", "h264"},       {"libx265", "out.mp4", "h264"},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(std::string(each.encoder) + " to " + each.output);
    program::ffmpeg(folder.path(), std::string("-f lavfi -i testsrc2=size=128x96:rate=25 -t 0.4 "
                                               "-pix_fmt yuv420p -c:v ") +
                                       each.encoder + " in.mkv");
    const program::Result result = run({}, each.output);
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(codecOf(each.output), std::string("codec_name=") + each.codec);
  }
}

TEST_F(Quality, ContainersRefuseWhatPlayersDoNotFindInThem) {
  const program::Result result = run({"--encoder", "libvpx-vp9"}, "out.ts");
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_EQ(result.err,
            "cmhost: error: the container 'mpegts' does not support the encoder 'libvpx-vp9'; "
            "choose another with --encoder\n");
}

}  // namespace
