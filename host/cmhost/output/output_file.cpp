#include "host/cmhost/output/output_file.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <utility>
#include <vector>

extern "C" {
#include <libavutil/error.h>
}

#include "host/cmhost/output/md5.h"
#include "host/cmhost/output/standard_output.h"
#include "host/cmhost/support/av_log.h"
#include "host/cmhost/support/failure.h"

namespace cmhost {

namespace {

constexpr int retryMilliseconds = 20;

// Waits for a reader or a signal: a named pipe without a reader cannot be opened.
FileDescriptor openInPlace(const std::string& path) {
  for (;;) {
    FileDescriptor file(::open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NONBLOCK));
    if (file.number() < 0 && errno != ENXIO) failWriting(path, errno);
    if (file.number() >= 0) {
      if (isRegular(file.number()))
        throw Failure(path + ": replaced by a regular file while it was being opened; try again");
      return file;
    }
    pollfd wait = {interruption::descriptor(), POLLIN, 0};
    if (::poll(&wait, 1, retryMilliseconds) > 0) throw interruption::Interrupted();
  }
}

}  // namespace

OutputFile::OutputFile(const std::string& path, Mode mode) : name_(path), mode_(mode) {
  if (path == "-") {
    name_ = "standard output";
    file_ = standard_output::take();
    if (!isRegular(file_.number())) openPipe();
    // Other processes may append to it, even if it is a file.
    io_ = newWriter(this, &OutputFile::write, nullptr);
  } else {
    openPlace(path);
    io_ = newWriter(this, &OutputFile::write, staged_ ? &OutputFile::seek : nullptr);
  }
}

OutputFile::OutputFile(const std::string& address, const Options::KeyValues& options)
    : name_(address),
      mode_{},
      network_(std::make_unique<NetworkIo>(address, AVIO_FLAG_WRITE, options)) {}

OutputFile::OutputFile(const std::string& path, Mode mode, Playlist /*playlist*/)
    : name_(path), mode_(mode) {
  if (::access(path.c_str(), F_OK) == 0 && !mode.overwrite)
    throw Failure(path + ": file exists; use --overwrite to replace it");
}

void OutputFile::openPlace(const std::string& path) {
  auto place = findPlace(path);
  if (!place) {
    file_ = openInPlace(path);
    openPipe();
    return;
  }
  if (place->takenBy && !mode_.overwrite)
    throw Failure(path + ": file exists; use --overwrite to replace it");
  staged_.emplace(path, std::move(*place), mode_.keepPartial);
  file_ = staged_->takeFile();
}

// A write must not block where it cannot be interrupted. Standard output may be shared with other
// processes, which do not expect its flags to change. A pipe or a device is therefore reopened
// through /proc; a socket is written with MSG_DONTWAIT.
void OutputFile::openPipe() {
  waiting_ = Waiting::beforeEachWrite;
  widenPipe(file_.number());
  struct stat status = {};
  if (::fstat(file_.number(), &status) != 0) return;
  if (S_ISSOCK(status.st_mode)) waiting_ = Waiting::whenSocketIsFull;
  const bool isWritable = (::fcntl(file_.number(), F_GETFL) & O_ACCMODE) != O_RDONLY;
  if (isWritable && (S_ISFIFO(status.st_mode) || S_ISCHR(status.st_mode))) {
    const std::string self = "/proc/self/fd/" + std::to_string(file_.number());
    FileDescriptor own(::open(self.c_str(), O_WRONLY | O_CLOEXEC | O_NONBLOCK));
    if (own.number() >= 0) file_ = std::move(own);
  }
  if ((::fcntl(file_.number(), F_GETFL) & O_NONBLOCK) != 0) waiting_ = Waiting::whenFull;
}

bool OutputFile::waitForReader() {
  pollfd waits[] = {{file_.number(), POLLOUT, 0}, {abandoned_.descriptor(), POLLIN, 0}};
  while (::poll(waits, 2, -1) < 0 && errno == EINTR) continue;
  return waits[1].revents == 0;
}

// Returns the number of bytes written, or the error as a negative number.
int OutputFile::writeSome(const std::uint8_t* bytes, int size) {
  if (waiting_ != Waiting::never && isAbandoned_) return -ECANCELED;
  auto count = static_cast<std::size_t>(size);
  if (waiting_ == Waiting::beforeEachWrite) {
    if (!waitForReader()) return -ECANCELED;
    count = std::min<std::size_t>(count, PIPE_BUF);  // does not block after poll()
  }
  const ssize_t written = waiting_ == Waiting::whenSocketIsFull
                              ? ::send(file_.number(), bytes, count, MSG_DONTWAIT)
                              : ::write(file_.number(), bytes, count);
  if (written >= 0) return static_cast<int>(written);
  const int error = errno;
  if (error == EAGAIN && !waitForReader()) return -ECANCELED;
  return -error;
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

AVIOContext* OutputFile::openReader() {
  if (!staged_) return nullptr;
  readerPosition_ = 0;
  reader_ = newReader(this, &OutputFile::readAgain, &OutputFile::seekReader);
  return reader_.get();
}

int OutputFile::readAgain(void* self, std::uint8_t* buffer, int size) {
  auto* const output = static_cast<OutputFile*>(self);
  ssize_t bytes = 0;
  do {
    bytes = ::pread(output->file_.number(), buffer, static_cast<std::size_t>(size),
                    output->readerPosition_);
  } while (bytes < 0 && errno == EINTR);
  if (bytes < 0) return AVERROR(errno);
  output->readerPosition_ += bytes;
  return bytes > 0 ? static_cast<int>(bytes) : AVERROR_EOF;
}

std::int64_t OutputFile::seekReader(void* self, std::int64_t offset, int whence) {
  if (whence != SEEK_SET) return AVERROR(ENOSYS);
  return static_cast<OutputFile*>(self)->readerPosition_ = offset;
}

void OutputFile::abandon() {
  isAbandoned_ = true;
  if (network_ != nullptr) network_->interrupt();
  abandoned_.raise();
}

void OutputFile::check() const {
  if (writeError_ != 0) failWriting(name_, writeError_);
  if (network_ != nullptr && network_->io()->error < 0)
    throw Failure(name_ + ": cannot write: " + avErrorReason(network_->io()->error));
}

void OutputFile::checkReader() const {
  if (waiting_ == Waiting::never) return;
  pollfd state = {file_.number(), 0, 0};
  if (::poll(&state, 1, 0) > 0 && (state.revents & POLLERR) != 0) failWriting(name_, EPIPE);
}

OutputFile::Content OutputFile::content() {
  if (!staged_) return {};
  avio_flush(io_.get());
  check();
  Md5 sum;
  Content content;
  std::vector<std::uint8_t> part(1 << 20);
  for (content.bytes = 0;;) {
    const ssize_t count = ::pread(file_.number(), part.data(), part.size(), content.bytes);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) throw Failure(name_ + ": cannot read it again: " + systemText(errno));
    if (count == 0) break;
    sum.add(part.data(), static_cast<std::size_t>(count));
    content.bytes += count;
  }
  content.md5 = sum.text();
  return content;
}

void OutputFile::finish() {
  if (network_ != nullptr) {
    avio_flush(network_->io());
    check();
    const int result = network_->close();
    if (result < 0) throw Failure(name_ + ": cannot write: " + avErrorReason(result));
    return;
  }
  if (io_ == nullptr) return;
  avio_flush(io_.get());
  check();
  if (mode_.synchronise && !synchronise(file_.number())) failWriting(name_, errno);
  if (!file_.close()) failWriting(name_, errno);
}

void OutputFile::continueIn(const std::string& path) {
  finish();
  put();
  staged_.reset();
  name_ = path;
  openPlace(path);
  io_ = newWriter(this, &OutputFile::write, staged_ ? &OutputFile::seek : nullptr);
}

void OutputFile::put() {
  if (!staged_) return;
  staged_->put(mode_.overwrite);
  if (mode_.synchronise) staged_->synchroniseFolder();
}

std::string OutputFile::partialName() const {
  return staged_ && mode_.keepPartial ? staged_->temporaryPath() : std::string();
}

bool OutputFile::isSamePlace(const OutputFile& other) const {
  return staged_ && other.staged_ && staged_->isSamePlace(*other.staged_);
}

}  // namespace cmhost
