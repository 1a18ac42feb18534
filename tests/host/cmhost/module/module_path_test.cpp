// cmhost looks for its own module next to itself, never in the current folder.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "host/cmhost/module/module.h"
#include "host/cmhost/support/failure.h"

namespace {

namespace fs = std::filesystem;

// The message when the path of the program is unknown.
std::string refusal(const std::string& self) {
  try {
    return "no refusal but " + cmhost::defaultModulePath(self);
  } catch (const cmhost::Failure& failure) {
    return failure.what();
  }
}

class ModulePath : public testing::Test {
 protected:
  void SetUp() override {
    std::string name = (fs::temp_directory_path() / "module_path.XXXXXX").string();
    ASSERT_NE(::mkdtemp(name.data()), nullptr);
    folder_ = name;
  }
  void TearDown() override { fs::remove_all(folder_); }

  std::string linkTo(const fs::path& target) const {
    const fs::path link = folder_ / "self";
    fs::create_symlink(target, link);
    return link.string();
  }

 private:
  fs::path folder_;
};

TEST_F(ModulePath, IsAbsoluteByDefault) {
  EXPECT_TRUE(fs::path(cmhost::defaultModulePath()).is_absolute());
}

TEST_F(ModulePath, LiesNextToTheProgram) {
  const fs::path path = cmhost::defaultModulePath(linkTo("/opt/media/bin/cmhost"));
  EXPECT_EQ(path.filename(), "static_watermark.so");
  EXPECT_EQ(path.string().rfind("/opt/media/", 0), 0U) << path;
  EXPECT_EQ(path.string().find(".."), std::string::npos) << path;
}

TEST_F(ModulePath, IsNotLookedForWithoutTheSystemsLink) {
  const std::string said = refusal("/nowhere/self/exe");
  EXPECT_NE(said.find("/nowhere/self/exe: No such file or directory"), std::string::npos) << said;
  EXPECT_NE(said.find("--module"), std::string::npos) << said;
}

TEST_F(ModulePath, IsNotLookedForBesideARelativePath) {
  const std::string said = refusal(linkTo("bin/cmhost"));
  EXPECT_NE(said.find("not an absolute path"), std::string::npos) << said;
  EXPECT_NE(said.find("--module"), std::string::npos) << said;
}

}  // namespace
