#include "host/cmhost/output_file.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <utility>

extern "C" {
#include <libavutil/error.h>
}

#include "host/cmhost/failure.h"

namespace cmhost {

namespace {

namespace fs = std::filesystem;

constexpr int retryMilliseconds = 20;

// A named pipe without a reader cannot be opened yet; this waits for one, or for a signal.
FileDescriptor openInPlace(const std::string& path) {
  for (;;) {
    FileDescriptor file(::open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NONBLOCK));
    if (file.number() >= 0 || errno != ENXIO) return file;
    pollfd wait = {interruption::descriptor(), POLLIN, 0};
    if (::poll(&wait, 1, retryMilliseconds) > 0) throw interruption::Interrupted();
  }
}

// The file that a link points to is written, not the link; it need not be there yet.
std::string behindLinks(const std::string& path) {
  constexpr int mostLinks = 40;
  fs::path target = path;
  for (int links = 0; fs::is_symlink(fs::symlink_status(target)); ++links) {
    if (links == mostLinks) throw Failure(path + " cannot be written: " + systemText(ELOOP));
    target = target.parent_path() / fs::read_symlink(target);
  }
  return target.string();
}

}  // namespace

FileDescriptor OutputFile::takeStandardOutput() {
  std::fflush(stdout);
  FileDescriptor output(::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3));
  if (output.number() < 0 || ::dup2(STDERR_FILENO, STDOUT_FILENO) < 0)
    throw Failure("standard output cannot be used: " + systemText(errno));
  return output;
}

OutputFile::OutputFile(const std::string& path, Mode mode) : name_(path), mode_(mode) {
  if (path == "-") {
    name_ = "standard output";
    file_ = takeStandardOutput();
    if (!isRegular(file_.number())) openPipe();
    io_ = newWriter(this, &OutputFile::write, nullptr);  // even a file may be appended to by others
  } else {
    openPlace(path);
    io_ = newWriter(this, &OutputFile::write, temporary_.empty() ? nullptr : &OutputFile::seek);
  }
}

void OutputFile::openPlace(const std::string& path) {
  std::error_code ignored;
  const fs::file_status status = fs::status(path, ignored);
  if (fs::is_directory(status)) throw Failure(path + " is a directory; name a file to write");
  if (fs::exists(status) && !fs::is_regular_file(status)) {
    file_ = openInPlace(path);
    if (file_.number() < 0) failWriting(errno);
    openPipe();
    return;
  }
  if (fs::exists(status) && !mode_.overwrite)
    throw Failure(path + " exists already; --overwrite replaces it");
  target_ = behindLinks(path);
  const std::string temporary = target_ + "." + std::to_string(::getpid()) + ".part";
  file_ = FileDescriptor(::open(temporary.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
  if (file_.number() < 0) failWriting(errno);
  temporary_ = temporary;
  if (fs::exists(status))  // who may read the old file may read the new one
    ::fchmod(file_.number(), static_cast<mode_t>(status.permissions() & fs::perms::all));
  if (!mode_.keepPartial) removedBySignal_ = interruption::TemporaryFile(temporary_);
}

// Writing must not wait where nobody can end it. Standard output may be shared with other
// processes, which would not expect it to change: a pipe is opened anew through its name in /proc,
// and what cannot be is written in pieces that fit when it is said to be ready.
void OutputFile::openPipe() {
  waits_ = true;
  widenPipe(file_.number());
  const std::string self = "/proc/self/fd/" + std::to_string(file_.number());
  std::error_code ignored;
  if (fs::is_fifo(fs::status(self, ignored))) {
    FileDescriptor own(::open(self.c_str(), O_WRONLY | O_CLOEXEC | O_NONBLOCK));
    if (own.number() >= 0) file_ = std::move(own);
  }
  const bool neverWaits = (::fcntl(file_.number(), F_GETFL) & O_NONBLOCK) != 0;
  mostAtOnce_ = neverWaits ? std::numeric_limits<int>::max() : PIPE_BUF;
}

OutputFile::~OutputFile() {
  if (!temporary_.empty() && !mode_.keepPartial) ::unlink(temporary_.c_str());
}

int OutputFile::writeSome(const std::uint8_t* bytes, int size) {
  auto count = static_cast<std::size_t>(size);
  if (waits_) {
    pollfd waits[] = {{file_.number(), POLLOUT, 0}, {abandoned_.descriptor(), POLLIN, 0}};
    if (::poll(waits, 2, -1) < 0) return -errno;
    if (waits[1].revents != 0) return -ECANCELED;
    count = std::min(count, mostAtOnce_);
  }
  const ssize_t written = ::write(file_.number(), bytes, count);
  return written < 0 ? -errno : static_cast<int>(written);
}

int OutputFile::write(void* self, WrittenByte* buffer, int size) {
  auto* const output = static_cast<OutputFile*>(self);
  for (int written = 0; written < size;) {
    const int bytes = output->writeSome(buffer + written, size - written);
    if (bytes >= 0) {
      written += bytes;
    } else if (bytes != -EINTR && bytes != -EAGAIN) {
      if (output->writeError_ == 0) output->writeError_ = -bytes;
      return AVERROR(output->writeError_);
    }
  }
  return size;
}

std::int64_t OutputFile::seek(void* self, std::int64_t offset, int whence) {
  return seekRegular(static_cast<OutputFile*>(self)->file_.number(), offset, whence);
}

void OutputFile::failWriting(int systemError) const {
  if (systemError == EPIPE)
    throw Failure(name_ + ": whoever read it has closed the pipe: " + systemText(systemError));
  throw Failure(name_ + " cannot be written: " + systemText(systemError));
}

void OutputFile::check() const {
  if (writeError_ != 0) failWriting(writeError_);
}

void OutputFile::checkReader() const {
  if (!waits_) return;
  pollfd state = {file_.number(), 0, 0};
  if (::poll(&state, 1, 0) > 0 && (state.revents & POLLERR) != 0) failWriting(EPIPE);
}

void OutputFile::commit() {
  avio_flush(io_.get());
  check();
  if (!file_.close()) failWriting(errno);
  if (temporary_.empty()) return;
  int failed = -1;
  if (mode_.overwrite) {
    failed = ::rename(temporary_.c_str(), target_.c_str());
  } else {
    failed = ::renameat2(AT_FDCWD, temporary_.c_str(), AT_FDCWD, target_.c_str(), RENAME_NOREPLACE);
    if (failed != 0 && errno == EEXIST)
      throw Failure(name_ + " has come to exist meanwhile; --overwrite replaces it");
    // Not every file system knows a rename that replaces nothing.
    if (failed != 0) failed = ::rename(temporary_.c_str(), target_.c_str());
  }
  if (failed != 0) failWriting(errno);
  temporary_.clear();
  removedBySignal_ = interruption::TemporaryFile();
}

}  // namespace cmhost
