// Files of many containers cut short anywhere: never an output, never an exit code that says done.
#include <gtest/gtest.h>

#include "tests/host/clip.h"
#include "tests/host/program.h"

namespace {

struct Container {
  const char* name;
  const char* encoder;
  bool audio;
};

class Cut : public testing::TestWithParam<Container> {
 protected:
  void SetUp() override {
    clip::Clip clip;
    clip.encoder = GetParam().encoder;
    clip.pictures = clip::drawMany(AV_PIX_FMT_YUV420P, 96, 64, 25);
    if (GetParam().audio) clip.audio = clip::tone(25);
    clip::write(folder / whole, clip);
    bytes = program::readFile(folder / whole);
  }

  void expectCut(std::size_t size) {
    SCOPED_TRACE("cut to " + std::to_string(size) + " of " + std::to_string(bytes.size()));
    program::writeFile(folder / cut, bytes.substr(0, size));
    const program::Result run = program::run(folder.path(), {cut, "out.nut"});
    EXPECT_EQ(run.exitCode, 1) << run.err;
    EXPECT_NE(run.err.find(cut + " is damaged or cut short"), std::string::npos) << run.err;
    EXPECT_NE(run.err.find("could be decoded"), std::string::npos) << run.err;
    EXPECT_EQ(folder.names(), (std::vector<std::string>{cut, whole}));
  }

  const std::string whole = std::string("whole.") + GetParam().name;
  const std::string cut = std::string("cut.") + GetParam().name;
  program::Folder folder;
  std::string bytes;
};

TEST_P(Cut, IsAlwaysTold) {
  // A transport stream tells a cut only within a packet.
  const auto withinPacket = [](std::size_t size) { return size % 188 == 0 ? size + 1 : size; };
  constexpr std::size_t cuts = 16;
  for (std::size_t i = 1; i <= cuts; ++i) expectCut(withinPacket((bytes.size() - 1) * i / cuts));
  expectCut(withinPacket(bytes.size() - 100));
}

TEST_P(Cut, WholeFileIsTaken) {
  const program::Result run = program::run(folder.path(), {whole, "out.nut"});
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(clip::read(folder / "out.nut").pictures.size(), 25U);
}

INSTANTIATE_TEST_SUITE_P(
    Containers, Cut,
    testing::Values(Container{"mxf", "mpeg2video", true}, Container{"flv", "flv", false},
                    Container{"ogg", "libtheora", false}, Container{"wmv", "wmv2", true},
                    Container{"mpg", "mpeg2video", false}, Container{"vob", "mpeg2video", false},
                    Container{"ts", "mpeg2video", false}, Container{"webm", "libvpx", false},
                    Container{"mkv", "ffv1", true}, Container{"mov", "mpeg4", true},
                    Container{"avi", "mpeg4", true}),
    [](const testing::TestParamInfo<Container>& test) { return std::string(test.param.name); });

}  // namespace
