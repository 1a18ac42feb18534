// A file that is renamed when it is complete.
#include "host/cmhost/output/staged_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <optional>

#include "host/cmhost/support/failure.h"
#include "tests/host/cmhost/fixtures/program.h"

namespace {

namespace fs = std::filesystem;
using cmhost::findPlace;
using cmhost::StagedFile;
using cmhost::temporaryName;

TEST(TemporaryName, ShortOnesAreKept) {
  EXPECT_EQ(temporaryName("out.mkv", 0x123456789abcdefU, 255), "out.mkv.0123456789abcdef.part");
  EXPECT_EQ(temporaryName(std::string(233, 'a'), 5, 255),
            std::string(233, 'a') + ".0000000000000005.part");
}

TEST(TemporaryName, LongOnesAreCut) {
  for (const std::size_t size : {234U, 250U, 255U})
    EXPECT_EQ(temporaryName(std::string(size, 'a'), ~0ULL, 255),
              std::string(233, 'a') + ".ffffffffffffffff.part");
  EXPECT_EQ(temporaryName("out.mkv", 0, 24), "ou.0000000000000000.part");
  EXPECT_EQ(temporaryName("out.mkv", 0, 10), ".0000000000000000.part");
}

TEST(TemporaryName, CharactersAreNotCut) {
  const std::string suffix = ".0000000000000000.part";
  EXPECT_EQ(temporaryName("a\u00e9\u00e9\u00e9", 0, 25), "a\u00e9" + suffix);
  EXPECT_EQ(temporaryName("a\u00e9\u00e9\u00e9", 0, 26), "a\u00e9" + suffix);
  EXPECT_EQ(temporaryName("\U0001f600\U0001f600", 0, 29), "\U0001f600" + suffix);
  EXPECT_EQ(temporaryName("\U0001f600\U0001f600", 0, 25), suffix);
}

class Staged : public testing::Test {
 protected:
  void SetUp() override { umask_ = ::umask(022); }
  void TearDown() override { ::umask(umask_); }

  std::string path() const { return folder / "out.nut"; }

  StagedFile& stage(bool keep = false) { return staged.emplace(path(), *findPlace(path()), keep); }

  mode_t modeOf(const std::string& file) {
    struct stat status = {};
    EXPECT_EQ(::stat(file.c_str(), &status), 0);
    return status.st_mode & 07777U;
  }

  void makeOld(mode_t mode) {
    program::writeFile(path(), "old");
    ASSERT_EQ(::chmod(path().c_str(), mode), 0);
  }

  program::Folder folder;
  std::optional<StagedFile> staged;

 private:
  mode_t umask_ = 0;
};

TEST_F(Staged, NamesAreRandom) {
  const std::string first = stage().temporaryPath();
  EXPECT_EQ(folder.names(), std::vector<std::string>{fs::path(first).filename()});
  const std::string second = stage().temporaryPath();
  EXPECT_NE(first, second);
  for (const std::string& name : {first, second}) {
    EXPECT_EQ(name.rfind(path() + ".", 0), 0U) << name;
    EXPECT_EQ(name.size(), path().size() + sizeof ".0123456789abcdef.part" - 1);
  }
}

TEST_F(Staged, FinalPermissionsFromTheStart) {
  for (const mode_t mask : {022U, 027U, 077U}) {
    ::umask(mask);
    EXPECT_EQ(modeOf(stage().temporaryPath()), 0666U & ~mask);
  }
  for (const mode_t mode : {0600U, 0640U, 0444U, 0666U, 04755U}) {
    makeOld(mode);
    EXPECT_EQ(modeOf(stage().temporaryPath()), mode & 0777U);
    fs::remove(path());
  }
}

TEST_F(Staged, GoesUnlessItIsPut) {
  stage();
  EXPECT_EQ(folder.names().size(), 1U);
  staged.reset();
  EXPECT_TRUE(folder.names().empty());
  stage(true);
  staged.reset();
  EXPECT_EQ(folder.names().size(), 1U);
}

TEST_F(Staged, GetsItsName) {
  ASSERT_EQ(::write(stage().takeFile().number(), "new", 3), 3);
  staged->put(false);
  staged->synchroniseFolder();
  EXPECT_EQ(staged->temporaryPath(), "");
  staged.reset();
  EXPECT_EQ(folder.names(), std::vector<std::string>{"out.nut"});
  EXPECT_EQ(program::readFile(path()), "new");
}

TEST_F(Staged, WhatComesMeanwhileIsNotReplaced) {
  stage();
  makeOld(0644);
  try {
    staged->put(false);
    ADD_FAILURE() << "a file is replaced";
  } catch (const cmhost::Failure& failure) {
    EXPECT_EQ(failure.what(), path() +
                                  ": another process created this file during the run; use "
                                  "--overwrite to replace it");
  }
  staged.reset();
  EXPECT_EQ(folder.names(), std::vector<std::string>{"out.nut"});
  EXPECT_EQ(program::readFile(path()), "old");
}

TEST_F(Staged, LinkThatComesMeanwhileIsReplacedAndNotFollowed) {
  program::writeFile(folder / "precious", "precious");
  makeOld(0644);
  ASSERT_EQ(::write(stage().takeFile().number(), "new", 3), 3);
  fs::remove(path());
  fs::create_symlink("precious", path());
  staged->put(true);
  EXPECT_FALSE(fs::is_symlink(path()));
  EXPECT_EQ(program::readFile(path()), "new");
  EXPECT_EQ(program::readFile(folder / "precious"), "precious");
}

TEST_F(Staged, FolderIsTheOneThatWasThereAtFirst) {
  fs::create_directories(folder / "there");
  fs::create_directories(folder / "elsewhere");
  const std::string out = folder / "there/out.nut";
  staged.emplace(out, *findPlace(out), false);
  fs::rename(folder / "there", folder / "moved");
  fs::create_symlink("elsewhere", folder / "there");
  staged->put(false);
  EXPECT_TRUE(fs::exists(folder / "moved/out.nut"));
  EXPECT_TRUE(fs::is_empty(folder / "elsewhere"));
}

TEST_F(Staged, LongNames) {
  for (const std::size_t size : {250U, 255U}) {
    const std::string out = folder / std::string(size, 'n');
    staged.emplace(out, *findPlace(out), false).put(false);
    EXPECT_TRUE(fs::exists(out)) << size;
  }
}

TEST_F(Staged, SamePlace) {
  fs::create_directories(folder / "there");
  fs::create_symlink("there", folder / "link");
  const auto at = [this](const std::string& name) {
    return StagedFile(folder / name, *findPlace(folder / name), false);
  };
  const StagedFile file = at("there/out.nut");
  EXPECT_TRUE(file.isSamePlace(at("link/../link/out.nut")));
  EXPECT_FALSE(file.isSamePlace(at("out.nut")));
  EXPECT_FALSE(file.isSamePlace(at("there/other.nut")));
}

}  // namespace
