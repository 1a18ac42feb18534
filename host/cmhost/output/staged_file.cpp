#include "host/cmhost/output/staged_file.h"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <utility>

#include "host/cmhost/support/failure.h"

namespace cmhost {

namespace {

constexpr int mostAttempts = 4;  // each with a name of 64 random bits

std::uint64_t randomNumber() {
  std::uint64_t number = 0;
  ssize_t bytes = 0;
  do {
    bytes = ::getrandom(&number, sizeof number, 0);
  } while (bytes < 0 && errno == EINTR);
  if (bytes != sizeof number) throw Failure("cannot get a random number: " + systemText(errno));
  return number;
}

std::size_t longestName(const FileDescriptor& folder) {
  const long longest = ::fpathconf(folder.number(), _PC_NAME_MAX);
  return longest > 0 ? static_cast<std::size_t>(longest) : NAME_MAX;
}

}  // namespace

std::string temporaryName(const std::string& name, std::uint64_t random, std::size_t longest) {
  char end[32];
  std::snprintf(end, sizeof end, ".%016llx.part", static_cast<unsigned long long>(random));
  const std::string suffix = end;
  const std::size_t room = longest > suffix.size() ? longest - suffix.size() : 0;
  std::size_t kept = name.size();
  if (kept > room) {
    kept = room;
    while (kept > 0 && (static_cast<unsigned char>(name[kept]) & 0xC0U) == 0x80U) --kept;
  }
  return name.substr(0, kept) + suffix;
}

StagedFile::StagedFile(const std::string& path, OutputPlace place, bool keep)
    : path_(path), place_(std::move(place)), keep_(keep) {
  for (int attempt = 1; file_.number() < 0; ++attempt) {
    create();
    if (file_.number() < 0 && (errno != EEXIST || attempt == mostAttempts))
      failWriting(path_, errno);
  }
  // Restores the permission bits that the umask removed.
  if (place_.takenBy) ::fchmod(file_.number(), *place_.takenBy);
}

void StagedFile::create() {
  constexpr mode_t ofNewFiles = 0666;
  constexpr int flags = O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
  const int folder = place_.folder.number();
  const std::string name = temporaryName(place_.name, randomNumber(), longestName(place_.folder));
  // Registered first, so that a signal in between cannot leave the file behind.
  if (!keep_) removedBySignal_ = interruption::TemporaryFile(name, folder);
  file_ =
      FileDescriptor(::openat(folder, name.c_str(), flags, place_.takenBy.value_or(ofNewFiles)));
  if (file_.number() >= 0) temporary_ = name;
}

StagedFile::~StagedFile() {
  if (!keep_ && !temporary_.empty()) ::unlinkat(place_.folder.number(), temporary_.c_str(), 0);
}

void StagedFile::put(bool overwrite) {
  const int folder = place_.folder.number();
  const int failed = overwrite ? ::renameat(folder, temporary_.c_str(), folder, place_.name.c_str())
                               : putWhereNothingIs();
  if (failed != 0 && !overwrite && errno == EEXIST)
    throw Failure(
        path_ +
        ": another process created this file during the run; use --overwrite to replace it");
  if (failed != 0) failWriting(path_, errno);
  temporary_.clear();
  removedBySignal_ = interruption::TemporaryFile();
}

// Not every file system supports RENAME_NOREPLACE or hard links.
int StagedFile::putWhereNothingIs() {
  const int folder = place_.folder.number();
  const char* const from = temporary_.c_str();
  const char* const to = place_.name.c_str();
  if (::renameat2(folder, from, folder, to, RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return -1;
  if (::linkat(folder, from, folder, to, 0) == 0) return ::unlinkat(folder, from, 0);
  if (errno != EPERM && errno != EOPNOTSUPP && errno != ENOSYS) return -1;
  struct stat status = {};
  if (::fstatat(folder, to, &status, AT_SYMLINK_NOFOLLOW) == 0) {
    errno = EEXIST;
    return -1;
  }
  return errno == ENOENT ? ::renameat(folder, from, folder, to) : -1;
}

// A folder without read permission cannot be opened for this.
void StagedFile::synchroniseFolder() const {
  const FileDescriptor folder(
      ::openat(place_.folder.number(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder.number() < 0 || synchronise(folder.number())) return;
  throw Failure(path_ + ": the file is complete, but its folder cannot be synchronised: " +
                systemText(errno) + "; a power failure may lose the file");
}

bool StagedFile::isSamePlace(const StagedFile& other) const {
  struct stat own = {};
  struct stat others = {};
  return place_.name == other.place_.name && ::fstat(place_.folder.number(), &own) == 0 &&
         ::fstat(other.place_.folder.number(), &others) == 0 && own.st_dev == others.st_dev &&
         own.st_ino == others.st_ino;
}

}  // namespace cmhost
