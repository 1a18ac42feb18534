// Missing, invalid and misbehaving modules: one clear error line, exit code 1, no output, no hang.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/host/cmhost/fixtures/clip.h"
#include "tests/host/cmhost/fixtures/program.h"

namespace {

class BadModule : public testing::Test {
 protected:
  void SetUp() override {
    clip::Clip clip;
    clip.encoder = "ffv1";
    clip.pictures = clip::drawMany(AV_PIX_FMT_YUV422P, 64, 48, 30);
    clip::write(folder / "in.mkv", clip);
  }

  void expectFailure(const std::string& module, const std::vector<std::string>& parts) {
    const auto run = program::run(folder.path(), {"--module", module, "in.mkv", "out.nut"});
    EXPECT_EQ(run.exitCode, 1) << run.err;
    const std::string messages = run.messages();
    EXPECT_EQ(messages.rfind("cmhost: error: ", 0), 0U) << run.err;
    EXPECT_EQ(messages.find('\n'), messages.size() - 1) << run.err;
    for (const std::string& part : parts)
      EXPECT_NE(run.err.find(part), std::string::npos) << part << " is not in: " << run.err;
    const auto names = folder.names();
    EXPECT_EQ(std::count(names.begin(), names.end(), "out.nut"), 0);
  }

  program::Folder folder;
};

TEST_F(BadModule, Missing) {
  expectFailure("missing.so", {"missing.so", "No such file or directory", "--module"});
}

TEST_F(BadModule, NotALibrary) {
  program::writeFile(folder / "text.so", "no library");
  expectFailure("text.so", {"text.so", "file too short"});
  program::writeFile(folder / "text.so", std::string(5000, 'x'));
  expectFailure("text.so", {"text.so", "invalid ELF header"});
}

TEST_F(BadModule, NoFactory) {
  expectFailure(program::stub("no_factory"), {"stub_no_factory.so", "getComponentInstance"});
}

TEST_F(BadModule, FactoryFails) {
  expectFailure(program::stub("factory_throws"), {"factory failed", "a standard exception"});
  expectFailure(program::stub("factory_null"), {"returned no component"});
}

TEST_F(BadModule, NoFilter) {
  expectFailure(program::stub("no_filter"), {"not a filter", "'sour'"});
}

TEST_F(BadModule, DeclinesItsConfiguration) {
  expectFailure(program::stub("declines"),
                {"cannot configure the module: *** ERROR ***: not this one"});
  expectFailure(program::stub("refuses"), {"rejected its configuration: result 7"});
  expectFailure(program::stub("configure_throws"),
                {"cannot configure the module: a standard exception"});
}

TEST_F(BadModule, ThrowsInItsStep) {
  expectFailure(program::stub("throws"), {"the module failed: no third frame, please"});
  expectFailure(program::stub("throws_standard"), {"the module failed: a standard exception"});
  expectFailure(program::stub("throws_number"), {"the module failed"});
}

TEST_F(BadModule, PutsWhatIsNoFrame) {
  expectFailure(program::stub("puts_empty"), {"returned an empty frame"});
  expectFailure(program::stub("puts_short"), {"a frame of 1 bytes", "6144", "'Y22P'"});
}

TEST_F(BadModule, LeavesItsInput) {
  expectFailure(program::stub("leaves_input"), {"does not read its input"});
}

TEST_F(BadModule, GoodOneGetsEveryFrame) {
  const auto run =
      program::run(folder.path(), {"--module", program::stub("passes_on"), "in.mkv", "out.nut"});
  ASSERT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.err.rfind("configured\ncmhost: ", 0), 0U) << run.err;
  const clip::Clip before = clip::read(folder / "in.mkv");
  const clip::Clip after = clip::read(folder / "out.nut");
  ASSERT_EQ(after.pictures.size(), 30U);
  for (std::size_t i = 0; i < 30; ++i)
    EXPECT_EQ(after.pictures[i].planes, before.pictures[i].planes);
}

TEST_F(BadModule, NameWithoutFolderIsLookedForHere) {
  const auto run = program::run(
      STUB_FOLDER, {"--module", "stub_passes_on.so", folder / "in.mkv", folder / "out.nut"});
  EXPECT_EQ(run.exitCode, 0) << run.err;
}

}  // namespace
