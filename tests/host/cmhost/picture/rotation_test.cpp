#include <gtest/gtest.h>

#include "tests/host/cmhost/fixtures/clip.h"
#include "tests/host/cmhost/fixtures/program.h"

namespace {

TEST(Rotation, IsReported) {
  const program::Folder folder;
  clip::Clip clip;
  clip.encoder = "mpeg4";
  clip.tags.rotation = 90;
  clip.pictures = clip::drawMany(AV_PIX_FMT_YUV420P, 64, 48, 2);
  clip::write(folder / "turned.mp4", clip);
  const program::Result result = program::run(folder.path(), {"turned.mp4", "out.mp4"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_NE(result.err.find("warning: players rotate this video by 90 degrees clockwise"),
            std::string::npos)
      << result.err;
}

}  // namespace
