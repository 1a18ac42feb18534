#include "host/cmhost/output_place.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <utility>

#include "host/cmhost/failure.h"

namespace cmhost {

namespace {

bool look(const OutputPlace& place, struct stat& status) {
  return ::fstatat(place.folder.number(), place.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
}

// Splits `target` and opens its folder.
OutputPlace openPlace(const std::string& path, const std::string& target) {
  OutputPlace place;
  const std::size_t slash = target.rfind('/');
  if (slash != std::string::npos) place.shownFolder = target.substr(0, slash + 1);
  place.name = target.substr(place.shownFolder.size());
  if (place.name.empty()) failWriting(path, EISDIR);
  const char* const folder = place.shownFolder.empty() ? "." : place.shownFolder.c_str();
  place.folder = FileDescriptor(::open(folder, O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (place.folder.number() < 0) failWriting(path, errno);
  return place;
}

bool isPlanted(const OutputPlace& place, const struct stat& link) {
  struct stat folder = {};
  return ::fstat(place.folder.number(), &folder) == 0 && (folder.st_mode & S_ISVTX) != 0 &&
         (folder.st_mode & S_IWOTH) != 0 && link.st_uid != ::geteuid() &&
         link.st_uid != folder.st_uid;
}

std::string pathOf(const FileDescriptor& file) {
  char target[PATH_MAX];
  const std::string link = "/proc/self/fd/" + std::to_string(file.number());
  const ssize_t size = ::readlink(link.c_str(), target, sizeof target);
  return std::string(target, size > 0 && size < PATH_MAX ? static_cast<std::size_t>(size) : 0);
}

// The place of `file`, to which the system came through the link `path`.
OutputPlace placeOf(const std::string& path, const FileDescriptor& file) {
  struct stat opened = {};
  struct stat found = {};
  const std::string target = pathOf(file);
  if (!target.empty() && target[0] == '/') {
    OutputPlace place = openPlace(path, target);
    if (::fstat(file.number(), &opened) == 0 && look(place, found) &&
        opened.st_dev == found.st_dev && opened.st_ino == found.st_ino)
      return place;
  }
  throw Failure(path + " is a link to a file whose own name cannot be found; name that file");
}

// Where the system makes the file to which a link without a target leads: it makes one, whose place
// is looked up and which is then removed.
OutputPlace placeBehindDanglingLink(const std::string& path) {
  constexpr int flags = O_WRONLY | O_CREAT | O_NONBLOCK | O_CLOEXEC;
  const FileDescriptor file(::open(path.c_str(), flags, S_IRUSR | S_IWUSR));
  if (file.number() < 0) failWriting(path, errno);
  OutputPlace place = placeOf(path, file);
  struct stat status = {};
  const bool isOurs = ::fstat(file.number(), &status) == 0 && S_ISREG(status.st_mode) &&
                      status.st_size == 0 && status.st_uid == ::geteuid();
  if (!isOurs) throw Failure(path + " has come to lead to a file meanwhile");
  if (::unlinkat(place.folder.number(), place.name.c_str(), 0) != 0) failWriting(path, errno);
  return place;
}

}  // namespace

std::optional<OutputPlace> findPlace(const std::string& path) {
  const FileDescriptor there(::open(path.c_str(), O_PATH | O_CLOEXEC));
  if (there.number() < 0 && errno != ENOENT) failWriting(path, errno);
  const bool exists = there.number() >= 0;
  struct stat status = {};
  if (exists && ::fstat(there.number(), &status) != 0) failWriting(path, errno);
  if (exists && S_ISDIR(status.st_mode))
    throw Failure(path + " is a directory; name a file to write");
  if (exists && !S_ISREG(status.st_mode)) return std::nullopt;

  OutputPlace place = openPlace(path, path);
  struct stat entry = {};
  if (look(place, entry)) {
    if (S_ISLNK(entry.st_mode)) {
      if (isPlanted(place, entry)) failWriting(path, EACCES);
      place = exists ? placeOf(path, there) : placeBehindDanglingLink(path);
    }
  } else if (errno != ENOENT) {
    failWriting(path, errno);
  }
  if (exists) place.takenBy = status.st_mode & (S_IRWXU | S_IRWXG | S_IRWXO);
  return place;
}

}  // namespace cmhost
