// Still pictures and numbered sequences of them, as input and output.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "tests/host/cmhost/fixtures/program.h"

namespace {

class StillPictures : public testing::Test {
 protected:
  void make(const std::string& words) { program::ffmpeg(folder.path(), words); }

  program::Result mark(const std::vector<std::string>& arguments) {
    return program::run(folder.path(), arguments);
  }

  // Copies frames without a mark.
  program::Result pass(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"--module", program::stub("passes_on")});
    return program::run(folder.path(), arguments);
  }

  // The greatest difference between any two samples of two pictures as RGB.
  int difference(const std::string& one, const std::string& other) {
    make("-i " + one + " -pix_fmt rgb24 -f rawvideo one.raw");
    make("-i " + other + " -pix_fmt rgb24 -f rawvideo other.raw");
    const std::string a = program::readFile(folder / "one.raw");
    const std::string b = program::readFile(folder / "other.raw");
    EXPECT_EQ(a.size(), b.size());
    int most = a.empty() ? 256 : 0;
    for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i)
      most = std::max(
          most, std::abs(static_cast<unsigned char>(a[i]) - static_cast<unsigned char>(b[i])));
    return most;
  }

  void expectDone(const program::Result& result) {
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.err.find("warning"), std::string::npos) << result.err;
  }

  program::Folder folder;
};

TEST_F(StillPictures, RgbGoesThereAndBack) {
  make("-f lavfi -i testsrc=size=161x121 -frames:v 1 in.png");
  make("-f lavfi -i color=white:size=64x48,format=rgb24 -frames:v 1 white.png");
  for (const char* const format : {"rgb24", "rgba", "pal8"}) {
    SCOPED_TRACE(format);
    make(std::string("-i in.png -pix_fmt ") + format + " same.png");
    expectDone(pass({"--overwrite", "same.png", "out.png"}));
    EXPECT_EQ(program::probe(folder.path(), "out.png", "stream=pix_fmt"), "pix_fmt=rgb24\n");
    EXPECT_LE(difference("same.png", "out.png"), 3);
  }
  expectDone(pass({"white.png", "bright.png"}));
  EXPECT_EQ(difference("white.png", "bright.png"), 0);
  expectDone(pass({"in.png", "out.bmp"}));
  EXPECT_LE(difference("in.png", "out.bmp"), 3);
}

TEST_F(StillPictures, TransparencyAndMoreBitsAreNotLostUnasked) {
  make("-f lavfi -i color=red@0.5:size=64x48,format=rgba -frames:v 1 half.png");
  make("-f lavfi -i testsrc=size=64x48 -frames:v 1 -pix_fmt rgb48be deep.png");
  program::expectError(mark({"half.png", "out.png"}), 1, "half.png: the picture is transparent");
  program::expectError(mark({"deep.png", "out.png"}), 1, "rgb48be is not supported by the module");
  EXPECT_EQ(mark({"--convert", "auto", "half.png", "half-out.png"}).exitCode, 0);
  EXPECT_EQ(mark({"--convert", "auto", "deep.png", "deep-out.png"}).exitCode, 0);
}

TEST_F(StillPictures, JpegKeepsItsSamplesAndRange) {
  for (const char* const format : {"yuvj420p", "yuvj422p", "yuvj444p"}) {
    SCOPED_TRACE(format);
    make(std::string("-f lavfi -i testsrc=size=160x120 -frames:v 1 -q:v 2 -pix_fmt ") + format +
         " in.jpg");
    expectDone(pass({"--overwrite", "in.jpg", "out.jpg"}));
    EXPECT_EQ(program::probe(folder.path(), "out.jpg", "stream=pix_fmt,color_range"),
              std::string("pix_fmt=") + format + "\ncolor_range=pc\n");
    EXPECT_LE(difference("in.jpg", "out.jpg"), 24);
  }
  make("-f lavfi -i color=white:size=64x48:rate=5 -t 1 -pix_fmt yuv420p white.mp4");
  expectDone(pass({"--frames", "1", "white.mp4", "white.jpg"}));
  make("-f lavfi -i color=white:size=64x48,format=rgb24 -frames:v 1 white.png");
  EXPECT_LE(difference("white.png", "white.jpg"), 1);
}

TEST_F(StillPictures, SequencesAreReadAndWritten) {
  make("-f lavfi -i testsrc=size=64x48:rate=5 -frames:v 12 -start_number 3 in-%03d.png");
  expectDone(pass({"in-%03d.png", "out-%d.png"}));
  for (int i = 1; i <= 12; ++i) {
    const std::string number = std::to_string(i + 2);
    EXPECT_LE(difference("in-" + std::string(3 - number.size(), '0') + number + ".png",
                         "out-" + std::to_string(i) + ".png"),
              3);
  }
  EXPECT_EQ(folder.names().size(), 26U);  // with two raw files
  expectDone(pass({"--input-option", "start_number=11", "--input-option", "framerate=10",
                   "--convert", "auto", "in-%03d.png", "two.mp4"}));
  EXPECT_EQ(program::probe(folder.path(), "two.mp4", "stream=r_frame_rate,nb_frames"),
            "r_frame_rate=10/1\nnb_frames=4\n");
}

TEST_F(StillPictures, SequencesOverwriteOnlyIfAsked) {
  make("-f lavfi -i testsrc=size=64x48:rate=5 -frames:v 3 in-%d.png");
  program::writeFile(folder / "out-2.png", "mine");
  program::expectError(mark({"in-%d.png", "out-%d.png"}), 1, "out-2.png: file exists");
  EXPECT_EQ(program::readFile(folder / "out-2.png"), "mine");
  const std::vector<std::string> names = folder.names();
  EXPECT_EQ(names, (std::vector<std::string>{"in-1.png", "in-2.png", "in-3.png", "out-1.png",
                                             "out-2.png"}));
  expectDone(mark({"--overwrite", "in-%d.png", "out-%d.png"}));
  EXPECT_NE(program::readFile(folder / "out-2.png"), "mine");
  program::expectError(mark({"--overwrite", "in-%d.png", "in-%d.png"}), 2, "are the same files");
}

// Only the files of the sequence are opened.
TEST_F(StillPictures, SequencesReferToNothingElse) {
  make("-f lavfi -i testsrc=size=64x48:rate=5 -frames:v 2 in-%d.png");
  make("-f lavfi -i testsrc=size=64x48:rate=5 -frames:v 1 other.png");
  program::expectError(mark({"none-%d.png", "out-%d.png"}), 1, "none-%d.png: cannot open");
  program::expectError(mark({"--input-option", "pattern_type=glob", "in-%d.png", "out.nut"}), 1,
                       "in-%d.png");
  program::writeFile(folder / "named-%d.png", program::readFile(folder / "in-1.png"));
  expectDone(mark({"named-%d.png", "one.png"}));
}

TEST_F(StillPictures, OneFileHoldsOnePicture) {
  make("-f lavfi -i testsrc=size=64x48:rate=5 -frames:v 2 -pix_fmt yuv420p in.mp4");
  program::expectError(mark({"in.mp4", "out.png"}), 1,
                       "out.png: this is a file of one picture and the input has more; write a "
                       "sequence with a numbered name, such as out-%05d.png");
  EXPECT_EQ(folder.names(), std::vector<std::string>{"in.mp4"});
  expectDone(mark({"--frames", "1", "in.mp4", "out.png"}));
  program::expectError(mark({"in.mp4", "out.mpd"}), 2, "such as out.mp4 or out.ts");
}

TEST_F(StillPictures, GifIsWritten) {
  make("-f lavfi -i testsrc=size=64x48:rate=5 -frames:v 3 in.gif");
  expectDone(mark({"in.gif", "out.gif"}));
  EXPECT_EQ(program::probe(folder.path(), "out.gif", "format=format_name:stream=width,height"),
            "width=64\nheight=48\nformat_name=gif\n");
}

}  // namespace
