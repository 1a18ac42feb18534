// Frames that --convert converts to a layout of the module.
#include <gtest/gtest.h>

#include "tests/host/cmhost/fixtures/clip.h"
#include "tests/host/cmhost/fixtures/program.h"

namespace {

// A palette gives the same pixels and tags as the same colours in RGB.
TEST(Converting, PaletteIsRgb) {
  const program::Folder folder;
  program::ffmpeg(folder.path(),
                  "-f lavfi -i testsrc2=size=320x240:rate=5:duration=0.2 -filter_complex "
                  "'split[a][b];[a]palettegen[p];[b][p]paletteuse' -pix_fmt pal8 in.png");
  program::ffmpeg(folder.path(), "-i in.png -pix_fmt gbrp -c:v ffv1 in.mkv");
  ASSERT_EQ(program::probe(folder.path(), "in.png", "stream=pix_fmt"), "pix_fmt=pal8\n");
  for (const char* const layout : {"IYUV", "Y22P", "Y44P"}) {
    SCOPED_TRACE(layout);
    std::vector<clip::Clip> clips;
    for (const char* const name : {"in.png", "in.mkv"}) {
      const program::Result result =
          program::run(folder.path(), {"--overwrite", "--convert", layout, name, "out.mkv"});
      ASSERT_EQ(result.exitCode, 0) << result.err;
      EXPECT_EQ(result.err.find("alpha"), std::string::npos) << result.err;
      clips.push_back(clip::read(folder / "out.mkv"));
    }
    ASSERT_EQ(clips[0].pictures.size(), 1U);
    ASSERT_EQ(clips[1].pictures.size(), 1U);
    EXPECT_TRUE(clips[0].pictures[0].planes == clips[1].pictures[0].planes);
    for (const clip::Clip& each : clips) {
      EXPECT_EQ(each.tags.range, AVCOL_RANGE_MPEG);
      EXPECT_EQ(each.tags.matrix, AVCOL_SPC_SMPTE170M);
    }
  }
}

TEST(Converting, WarnsOfTransparencyOnly) {
  const program::Folder folder;
  program::ffmpeg(folder.path(), "-f lavfi -i color=red:size=64x64:rate=5 -t 0.4 opaque.gif");
  program::ffmpeg(folder.path(),
                  "-f lavfi -i color=red@0.5:size=64x64,format=rgba -frames:v 1 half.png");
  program::ffmpeg(folder.path(),
                  "-f lavfi -i color=red:size=64x64,format=rgba -frames:v 1 full.png");
  const auto warns = [&](const char* name) {
    const program::Result result =
        program::run(folder.path(), {"--overwrite", "--convert", "IYUV", name, "out.mkv"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    return result.err.find(std::string("cmhost: warning: ") + name +
                           ": the alpha channel of the video is dropped\n") != std::string::npos;
  };
  EXPECT_FALSE(warns("opaque.gif"));
  EXPECT_FALSE(warns("full.png"));
  EXPECT_TRUE(warns("half.png"));
}

}  // namespace
