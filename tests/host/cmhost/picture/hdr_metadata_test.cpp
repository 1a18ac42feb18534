// HDR metadata does not hold for frames that were converted to 8 bits.
#include <gtest/gtest.h>

#include "tests/host/cmhost/fixtures/program.h"

namespace {

TEST(HdrMetadata, IsDroppedWithTheBits) {
  const program::Folder folder;
  program::ffmpeg(folder.path(),
                  "-f lavfi -i testsrc2=size=64x48:rate=5 -t 0.4 -pix_fmt yuv420p10le -c:v libx265 "
                  "-x265-params "
                  "'log-level=none:hdr10=1:repeat-headers=1:colorprim=bt2020:transfer=smpte2084:"
                  "colormatrix=bt2020nc:master-display=G(13250,34500)B(7500,3000)R(34000,16000)"
                  "WP(15635,16450)L(10000000,1):max-cll=1000,400' in.mp4");
  const std::string entries = "frame_side_data=side_data_type";
  ASSERT_NE(program::probe(folder.path(), "in.mp4", entries).find("Mastering display"),
            std::string::npos);
  for (const char* const name : {"out.mkv", "out.mp4"}) {
    SCOPED_TRACE(name);
    const program::Result result =
        program::run(folder.path(), {"--convert", "auto", "in.mp4", name});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_NE(result.err.find("cmhost: warning: in.mp4: the HDR metadata of the video is dropped: "
                              "it does not hold for 8 bits\n"),
              std::string::npos)
        << result.err;
    const std::string found =
        program::probe(folder.path(), name, entries + ":stream=pix_fmt,color_transfer");
    EXPECT_EQ(found.find("Mastering display"), std::string::npos) << found;
    EXPECT_EQ(found.find("Content light"), std::string::npos) << found;
    EXPECT_NE(found.find("pix_fmt=yuv420p\n"), std::string::npos) << found;
    EXPECT_NE(found.find("color_transfer=smpte2084\n"), std::string::npos) << found;
  }
}

}  // namespace
