#include "host/cmhost/output/output_place.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <utility>

#include "host/cmhost/support/failure.h"

namespace cmhost {

namespace {

constexpr int mostLinks = 40;  // the kernel's limit

bool isSameFile(const struct stat& one, const struct stat& other) {
  return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

// Returns false if the name does not exist.
bool look(const std::string& path, const OutputPlace& place, struct stat& entry) {
  const char* const name = place.name.c_str();
  if (::fstatat(place.folder.number(), name, &entry, AT_SYMLINK_NOFOLLOW) == 0) return true;
  if (errno != ENOENT) failWriting(path, errno);
  return false;
}

// Splits `target`, which is relative to `from`, and opens its folder.
OutputPlace openPlace(const std::string& path, const std::string& target,
                      const OutputPlace* from = nullptr) {
  OutputPlace place;
  const std::size_t slash = target.rfind('/');
  place.shownFolder = slash != std::string::npos ? target.substr(0, slash + 1) : "";
  place.name = target.substr(place.shownFolder.size());
  if (place.name.empty()) failWriting(path, EISDIR);
  const std::string folder = place.shownFolder.empty() ? "." : place.shownFolder;
  place.folder = FileDescriptor(::openat(from != nullptr ? from->folder.number() : AT_FDCWD,
                                         folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (place.folder.number() < 0) failWriting(path, errno);
  if (from != nullptr && target[0] != '/') place.shownFolder.insert(0, from->shownFolder);
  return place;
}

// Whether another user created it in a world-writable sticky folder.
bool isPlanted(const OutputPlace& place, const struct stat& entry) {
  struct stat folder = {};
  return ::fstat(place.folder.number(), &folder) == 0 && (folder.st_mode & S_ISVTX) != 0 &&
         (folder.st_mode & S_IWOTH) != 0 && entry.st_uid != ::geteuid() &&
         entry.st_uid != folder.st_uid;
}

// Links in /proc refer to open files, not to the paths that they show.
bool isInProc(const OutputPlace& place) {
  struct statfs system = {};
  return ::fstatfs(place.folder.number(), &system) == 0 && system.f_type == PROC_SUPER_MAGIC;
}

std::string targetOf(const std::string& path, const OutputPlace& link) {
  char target[PATH_MAX];
  const ssize_t size = ::readlinkat(link.folder.number(), link.name.c_str(), target, sizeof target);
  if (size < 0) failWriting(path, errno);
  return std::string(target, static_cast<std::size_t>(size));
}

std::string pathOf(const FileDescriptor& file) {
  char target[PATH_MAX];
  const std::string link = "/proc/self/fd/" + std::to_string(file.number());
  const ssize_t size = ::readlink(link.c_str(), target, sizeof target);
  return std::string(target, size > 0 && size < PATH_MAX ? static_cast<std::size_t>(size) : 0);
}

// The place of `file`, which was opened through a link in /proc.
OutputPlace placeOf(const std::string& path, const FileDescriptor& file) {
  struct stat opened = {};
  struct stat found = {};
  const std::string target = pathOf(file);
  if (!target.empty() && target[0] == '/') {
    OutputPlace place = openPlace(path, target);
    if (::fstat(file.number(), &opened) == 0 && look(path, place, found) &&
        isSameFile(opened, found))
      return place;
  }
  throw Failure(path +
                ": cannot resolve this link to a file name; give the name of the file itself");
}

}  // namespace

std::optional<OutputPlace> findPlace(const std::string& path) {
  const FileDescriptor there(::open(path.c_str(), O_PATH | O_CLOEXEC));
  if (there.number() < 0 && errno != ENOENT) failWriting(path, errno);
  const bool exists = there.number() >= 0;
  struct stat status = {};
  if (exists && ::fstat(there.number(), &status) != 0) failWriting(path, errno);
  if (exists && S_ISDIR(status.st_mode))
    throw Failure(path + ": is a directory; give the name of a file");
  if (exists && S_ISSOCK(status.st_mode))
    throw Failure(path + ": is a socket; give the name of a file, a pipe or a device");

  // Resolve link by link: the system reports the target of a dangling link only by creating a file
  // there.
  OutputPlace place = openPlace(path, path);
  struct stat entry = {};
  bool taken = look(path, place, entry);
  for (int links = 0; taken && S_ISLNK(entry.st_mode); ++links) {
    if (isPlanted(place, entry)) failWriting(path, EACCES);
    if (links == mostLinks) failWriting(path, ELOOP);
    if (exists && isInProc(place)) {
      if (!S_ISREG(status.st_mode)) return std::nullopt;
      place = placeOf(path, there);
    } else {
      place = openPlace(path, targetOf(path, place), &place);
    }
    taken = look(path, place, entry);
  }
  if (taken != exists || (taken && !isSameFile(entry, status)))
    throw Failure(path + ": the path changed while it was being opened; try again");
  if (taken && !S_ISREG(entry.st_mode)) {
    if (isPlanted(place, entry)) failWriting(path, EACCES);
    return std::nullopt;
  }
  if (taken) place.takenBy = entry.st_mode & (S_IRWXU | S_IRWXG | S_IRWXO);
  return place;
}

}  // namespace cmhost
