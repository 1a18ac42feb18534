// Keys that --set adds to the configuration of the module.
#include <gtest/gtest.h>

#include "tests/host/cmhost/fixtures/clip.h"
#include "tests/host/cmhost/fixtures/program.h"

namespace {

class ConfigurationKeys : public testing::Test {
 protected:
  void SetUp() override {
    clip.encoder = "ffv1";
    clip.pictures = clip::drawMany(AV_PIX_FMT_YUV420P, 64, 48, 5);
    clip::write(folder / "in.mkv", clip);
  }

  program::Result run(std::vector<std::string> options, const std::string& stub,
                      const std::string& output) {
    options.insert(options.end(), {"--module", program::stub(stub), "in.mkv", output});
    return program::run(folder.path(), options);
  }

  clip::Clip clip;
  program::Folder folder;
};

TEST_F(ConfigurationKeys, AreGivenToTheModule) {
  const auto told = [this](const std::vector<std::string>& options) {
    return run(options, "tells_keys", "null:");
  };
  const auto lines = [](const program::Result& result) {
    return result.err.substr(0, result.err.find("cmhost: "));
  };
  EXPECT_EQ(lines(told({})), "greeting 00000000, system_informat 49595556\n");
  EXPECT_EQ(lines(told({"--set", "greeting=ABCD", "--set", "other=   1"})),
            "greeting 41424344, system_informat 49595556\n");
  EXPECT_EQ(lines(told({"--set", "greeting=0x00c0FFee"})),
            "greeting 00c0ffee, system_informat 49595556\n");
  EXPECT_EQ(lines(told({"--set", "system_informat=I420"})),
            "greeting 00000000, system_informat 49343230\n");
  const program::Result wrong = told({"--set", "system_informat=Y44P"});
  EXPECT_EQ(wrong.exitCode, 2);
  EXPECT_NE(wrong.err.find("Y44P does not match the frame layout IYUV"), std::string::npos);
}

TEST_F(ConfigurationKeys, ModuleMayKnowTheLayoutByAnotherCode) {
  const program::Result result = run({"--set", "system_informat=I420"}, "passes_on", "out.nut");
  ASSERT_EQ(result.exitCode, 0) << result.err;
  const auto pictures = clip::read(folder / "out.nut").pictures;
  ASSERT_EQ(pictures.size(), clip.pictures.size());
  for (std::size_t i = 0; i < pictures.size(); ++i)
    EXPECT_TRUE(pictures[i].planes == clip.pictures[i].planes) << i;
}

}  // namespace
