// Where a path leads, and the errors for invalid paths.
#include "host/cmhost/output/output_place.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>

#include "host/cmhost/support/failure.h"
#include "tests/host/cmhost/fixtures/program.h"

namespace {

namespace fs = std::filesystem;
using cmhost::findPlace;
using cmhost::OutputPlace;

constexpr uid_t nobody = 65534;

// Drops the rights of root during its lifetime.
class Unprivileged {
 public:
  Unprivileged() { EXPECT_TRUE(::geteuid() != 0 || ::seteuid(nobody) == 0); }
  ~Unprivileged() { EXPECT_EQ(::seteuid(::getuid()), 0); }
};

class OutputPlaceTest : public testing::Test {
 protected:
  static void expectFolder(const OutputPlace& place, const std::string& folder) {
    struct stat found = {};
    struct stat expected = {};
    ASSERT_EQ(::fstat(place.folder.number(), &found), 0);
    ASSERT_EQ(::stat(folder.c_str(), &expected), 0);
    EXPECT_EQ(found.st_dev, expected.st_dev);
    EXPECT_EQ(found.st_ino, expected.st_ino);
  }

  void expectRefused(const std::string& path, const std::string& reason) {
    try {
      findPlace(path);
      ADD_FAILURE() << path << " is not refused";
    } catch (const cmhost::Failure& failure) {
      EXPECT_EQ(failure.what(), path + reason);
    }
  }

  void makeFile(const std::string& name, mode_t mode) {
    program::writeFile(folder / name, "old");
    ASSERT_EQ(::chmod((folder / name).c_str(), mode), 0);
  }

  program::Folder folder;
};

TEST_F(OutputPlaceTest, NameThatIsFree) {
  const auto place = findPlace(folder / "new.nut");
  ASSERT_TRUE(place);
  EXPECT_EQ(place->name, "new.nut");
  EXPECT_EQ(place->shownFolder, folder.path() + "/");
  EXPECT_FALSE(place->takenBy);
  expectFolder(*place, folder.path());
  EXPECT_TRUE(folder.names().empty());
}

TEST_F(OutputPlaceTest, NameThatIsTaken) {
  makeFile("old.nut", 04640);
  const auto place = findPlace(folder / "old.nut");
  ASSERT_TRUE(place && place->takenBy);
  EXPECT_EQ(*place->takenBy, 0640U);
}

TEST_F(OutputPlaceTest, NoRegularFile) {
  EXPECT_FALSE(findPlace("/dev/null"));
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
  EXPECT_FALSE(findPlace(folder / "pipe"));
  fs::create_symlink("pipe", folder / "link");
  EXPECT_FALSE(findPlace(folder / "link"));
}

TEST_F(OutputPlaceTest, LinkLeadsToItsTarget) {
  fs::create_directories(folder / "there/deeper");
  makeFile("there/deeper/old.nut", 0600);
  fs::create_symlink("deeper/old.nut", folder / "there/second");
  fs::create_symlink("there/second", folder / "first");
  const auto place = findPlace(folder / "first");
  ASSERT_TRUE(place);
  EXPECT_EQ(place->name, "old.nut");
  expectFolder(*place, folder / "there/deeper");
  ASSERT_TRUE(place->takenBy);
  EXPECT_EQ(*place->takenBy, 0600U);
}

TEST_F(OutputPlaceTest, LinkToNothingYet) {
  fs::create_directories(folder / "there");
  fs::create_symlink("new.nut", folder / "there/second");
  fs::create_symlink("there/second", folder / "first");
  const auto place = findPlace(folder / "first");
  ASSERT_TRUE(place);
  EXPECT_EQ(place->name, "new.nut");
  expectFolder(*place, folder / "there");
  EXPECT_FALSE(place->takenBy);
  EXPECT_FALSE(fs::exists(folder / "there/new.nut"));
  EXPECT_TRUE(fs::is_symlink(folder / "first"));
}

TEST_F(OutputPlaceTest, NothingIsMadeBehindALink) {
  fs::create_directories(folder / "there");
  fs::create_symlink("there/new.nut", folder / "link");
  const cmhost::FileDescriptor events(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
  ASSERT_GE(::inotify_add_watch(events.number(), (folder / "there").c_str(), IN_CREATE), 0);
  EXPECT_TRUE(findPlace(folder / "link"));
  char event[1024];
  EXPECT_EQ(::read(events.number(), event, sizeof event), -1);
  EXPECT_EQ(errno, EAGAIN);
}

TEST_F(OutputPlaceTest, LinkToALinkOfProc) {
  makeFile("old.nut", 0600);
  const cmhost::FileDescriptor file(::open((folder / "old.nut").c_str(), O_RDWR | O_CLOEXEC));
  fs::create_symlink("/proc/self/fd/" + std::to_string(file.number()), folder / "link");
  const auto place = findPlace(folder / "link");
  ASSERT_TRUE(place);
  EXPECT_EQ(place->name, "old.nut");
  expectFolder(*place, folder.path());
}

TEST_F(OutputPlaceTest, ShownFolderIsThatOfTheTarget) {
  fs::create_directories(folder / "there/deeper");
  fs::create_symlink("deeper/new.nut", folder / "there/second");
  fs::create_symlink("there/second", folder / "first");
  fs::create_symlink(folder / "there/new.nut", folder / "absolute");
  EXPECT_EQ(findPlace(folder / "first")->shownFolder, folder / "there/deeper/");
  EXPECT_EQ(findPlace(folder / "absolute")->shownFolder, folder / "there/");
}

TEST_F(OutputPlaceTest, FolderThatIsALink) {
  fs::create_directories(folder / "there");
  fs::create_symlink("there", folder / "folder");
  const auto place = findPlace(folder / "folder/new.nut");
  ASSERT_TRUE(place);
  expectFolder(*place, folder / "there");
}

TEST_F(OutputPlaceTest, EveryErrorIsReportedAsItIs) {
  makeFile("file", 0600);
  fs::create_symlink("loop", folder / "loop");
  fs::create_symlink("nowhere/new.nut", folder / "lost");
  expectRefused(folder.path(), ": is a directory; give the name of a file");
  expectRefused(folder / "nowhere/new.nut", ": cannot write: No such file or directory");
  expectRefused(folder / "lost", ": cannot write: No such file or directory");
  expectRefused(folder / "new/", ": cannot write: Is a directory");
  expectRefused(folder / "file/new.nut", ": cannot write: Not a directory");
  expectRefused(folder / "loop", ": cannot write: Too many levels of symbolic links");
  expectRefused(folder / std::string(256, 'a'), ": cannot write: File name too long");
}

// Opening one fails with the error of a pipe without a reader, for which the program would wait.
TEST_F(OutputPlaceTest, ASocketIsRefused) {
  const int listener = ::socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  const std::string name = folder / "socket";
  ASSERT_LT(name.size(), sizeof address.sun_path);
  name.copy(address.sun_path, name.size());
  ASSERT_EQ(::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  fs::create_symlink("socket", folder / "link");
  expectRefused(name, ": is a socket; give the name of a file, a pipe or a device");
  expectRefused(folder / "link", ": is a socket; give the name of a file, a pipe or a device");
  ::close(listener);
}

TEST_F(OutputPlaceTest, WhatMayNotBeSeenIsNotMissing) {
  ASSERT_EQ(::chmod(folder.path().c_str(), 0755), 0);
  fs::create_directories(folder / "locked");
  makeFile("locked/precious.nut", 0600);
  fs::create_symlink("locked/precious.nut", folder / "link");
  ASSERT_EQ(::chmod((folder / "locked").c_str(), 0), 0);
  {
    const Unprivileged unprivileged;
    expectRefused(folder / "locked/precious.nut", ": cannot write: Permission denied");
    expectRefused(folder / "link", ": cannot write: Permission denied");
  }
  ASSERT_EQ(::chmod((folder / "locked").c_str(), 0700), 0);
}

TEST_F(OutputPlaceTest, LinkPlantedInAOutputPlaceInSharedFolder) {
  makeFile("precious.nut", 0600);
  fs::create_directories(folder / "shared");
  ASSERT_EQ(::chmod((folder / "shared").c_str(), 01777), 0);
  fs::create_symlink("../precious.nut", folder / "shared/own");
  fs::create_symlink("../precious.nut", folder / "shared/planted");
  fs::create_symlink("../new.nut", folder / "shared/dangling");
  EXPECT_TRUE(findPlace(folder / "shared/own"));
  for (const char* const name : {"shared/planted", "shared/dangling"})
    if (::lchown((folder / name).c_str(), nobody, nobody) != 0)
      GTEST_SKIP() << "only root can plant a link of somebody else";
  expectRefused(folder / "shared/planted", ": cannot write: Permission denied");
  expectRefused(folder / "shared/dangling", ": cannot write: Permission denied");
  EXPECT_FALSE(fs::exists(folder / "new.nut"));
  ASSERT_EQ(::chmod((folder / "shared").c_str(), 0755), 0);
  EXPECT_TRUE(findPlace(folder / "shared/planted"));
}

class OutputPlaceInSharedFolder : public OutputPlaceTest {
 protected:
  void SetUp() override {
    fs::create_directories(folder / "shared");
    ASSERT_EQ(::chmod((folder / "shared").c_str(), 01777), 0);
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    makeFile("precious.nut", 0600);
  }

  bool giveAway(const std::string& name) const {
    return ::lchown((folder / name).c_str(), nobody, nobody) == 0;
  }
};

TEST_F(OutputPlaceInSharedFolder, PlantedLinkToAPipe) {
  fs::create_symlink("../pipe", folder / "shared/link");
  EXPECT_FALSE(findPlace(folder / "shared/link"));
  if (!giveAway("shared/link")) GTEST_SKIP() << "only root can plant a link of somebody else";
  expectRefused(folder / "shared/link", ": cannot write: Permission denied");
}

TEST_F(OutputPlaceInSharedFolder, PlantedLinkBehindAnother) {
  fs::create_symlink("../precious.nut", folder / "shared/link");
  fs::create_symlink("shared/link", folder / "own");
  fs::create_symlink("own", folder / "first");
  EXPECT_TRUE(findPlace(folder / "first"));
  if (!giveAway("shared/link")) GTEST_SKIP() << "only root can plant a link of somebody else";
  expectRefused(folder / "own", ": cannot write: Permission denied");
  expectRefused(folder / "first", ": cannot write: Permission denied");
}

TEST_F(OutputPlaceInSharedFolder, PlantedPipe) {
  ASSERT_EQ(::mkfifo((folder / "shared/pipe").c_str(), 0622), 0);
  EXPECT_FALSE(findPlace(folder / "shared/pipe"));
  if (!giveAway("shared/pipe")) GTEST_SKIP() << "only root can plant a pipe of somebody else";
  expectRefused(folder / "shared/pipe", ": cannot write: Permission denied");
  ASSERT_EQ(::chmod((folder / "shared").c_str(), 0755), 0);
  EXPECT_FALSE(findPlace(folder / "shared/pipe"));
}

TEST_F(OutputPlaceTest, FileWithoutANameOfItsOwn) {
  makeFile("gone", 0600);
  const cmhost::FileDescriptor file(::open((folder / "gone").c_str(), O_RDWR | O_CLOEXEC));
  fs::remove(folder / "gone");
  expectRefused("/proc/self/fd/" + std::to_string(file.number()),
                ": cannot resolve this link to a file name; give the name of the file itself");
}

}  // namespace
