#include "host/cmhost/file_io.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <new>
#include <utility>

extern "C" {
#include <libavutil/error.h>
#include <libavutil/mem.h>
}

#include "host/cmhost/failure.h"
#include "host/cmhost/file_structure.h"

namespace cmhost {

namespace {

constexpr int ioBufferBytes = 1 << 16;

std::string systemText(int error) { return std::strerror(error); }

AVIOContext* newIo(void* owner, bool writing, int (*read)(void*, std::uint8_t*, int),
                   int (*write)(void*, std::uint8_t*, int),
                   std::int64_t (*seek)(void*, std::int64_t, int)) {
  auto* const buffer = static_cast<unsigned char*>(av_malloc(ioBufferBytes));
  AVIOContext* const io =
      buffer != nullptr
          ? avio_alloc_context(buffer, ioBufferBytes, writing ? 1 : 0, owner, read, write, seek)
          : nullptr;
  if (io == nullptr) {
    av_free(buffer);
    throw std::bad_alloc();
  }
  return io;
}

void freeIo(AVIOContext* io) {
  if (io == nullptr) return;
  av_freep(&io->buffer);
  avio_context_free(&io);
}

bool isRegular(int file, std::int64_t* size = nullptr) {
  struct stat status = {};
  if (::fstat(file, &status) != 0 || !S_ISREG(status.st_mode)) return false;
  if (size != nullptr) *size = status.st_size;
  return true;
}

}  // namespace

FileDescriptor::FileDescriptor(FileDescriptor&& other) noexcept
    : number_(std::exchange(other.number_, -1)) {}

FileDescriptor& FileDescriptor::operator=(FileDescriptor&& other) noexcept {
  std::swap(number_, other.number_);
  return *this;
}

FileDescriptor::~FileDescriptor() { close(); }

bool FileDescriptor::close() {
  const int number = std::exchange(number_, -1);
  return number < 0 || ::close(number) == 0;
}

InputFile::InputFile(const std::string& path)
    : file_(::open(path.c_str(), O_RDONLY | O_CLOEXEC)),
      interruption_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (file_.number() < 0) throw Failure(path + " cannot be opened: " + systemText(errno));
  if (interruption_.number() < 0) throw Failure("no event descriptor: " + systemText(errno));
  if (std::filesystem::is_directory(path))
    throw Failure(path + " is a directory; name a video file");
  const bool regular = isRegular(file_.number(), &size_);
  io_ = newIo(this, false, &InputFile::read, nullptr, regular ? &InputFile::seek : nullptr);
}

InputFile::~InputFile() { freeIo(io_); }

std::int64_t InputFile::declaredSize() const {
  return size_ >= 0 ? cmhost::declaredSize(file_.number()) : -1;
}

void InputFile::interrupt() { ::eventfd_write(interruption_.number(), 1); }

int InputFile::read(void* self, std::uint8_t* buffer, int size) {
  const auto* const input = static_cast<InputFile*>(self);
  pollfd waits[] = {{input->file_.number(), POLLIN, 0}, {input->interruption_.number(), POLLIN, 0}};
  while (::poll(waits, 2, -1) < 0)
    if (errno != EINTR) return AVERROR(errno);
  if (waits[1].revents != 0) return AVERROR_EXIT;
  ssize_t bytes;
  do bytes = ::read(input->file_.number(), buffer, static_cast<std::size_t>(size));
  while (bytes < 0 && errno == EINTR);
  if (bytes < 0) return AVERROR(errno);
  return bytes == 0 ? AVERROR_EOF : static_cast<int>(bytes);
}

std::int64_t InputFile::seek(void* self, std::int64_t offset, int whence) {
  const auto* const input = static_cast<InputFile*>(self);
  if (whence == AVSEEK_SIZE) return input->size_;
  const off_t position = ::lseek(input->file_.number(), offset, whence & ~AVSEEK_FORCE);
  return position < 0 ? AVERROR(errno) : position;
}

FileDescriptor OutputFile::takeStandardOutput() {
  std::fflush(stdout);
  FileDescriptor output(::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3));
  if (output.number() < 0 || ::dup2(STDERR_FILENO, STDOUT_FILENO) < 0)
    throw Failure("standard output cannot be used: " + systemText(errno));
  return output;
}

OutputFile::OutputFile(const std::string& path, bool overwrite)
    : name_(path), overwrite_(overwrite) {
  namespace fs = std::filesystem;
  std::error_code ignored;
  const fs::file_status status = fs::status(path, ignored);
  if (fs::is_directory(status)) throw Failure(path + " is a directory; name a file to write");
  if (fs::exists(status) && !fs::is_regular_file(status)) {
    file_ = FileDescriptor(::open(path.c_str(), O_WRONLY | O_CLOEXEC));
    if (file_.number() < 0) failWriting(errno);
  } else {
    if (fs::exists(status) && !overwrite)
      throw Failure(path + " exists already; --overwrite replaces it");
    // The file that a link points to is replaced, not the link.
    const fs::path target = fs::is_symlink(path) ? fs::weakly_canonical(path) : fs::path(path);
    target_ = target.string();
    const std::string temporary = target_ + "." + std::to_string(::getpid()) + ".part";
    file_ = FileDescriptor(::open(temporary.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    if (file_.number() < 0) failWriting(errno);
    temporary_ = temporary;
  }
  openIo(!temporary_.empty());
}

OutputFile::OutputFile(FileDescriptor descriptor, const std::string& name)
    : name_(name), file_(std::move(descriptor)) {
  openIo(false);  // even a file may be appended to by others
}

void OutputFile::openIo(bool seekable) {
  io_ = newIo(this, true, nullptr, &OutputFile::write, seekable ? &OutputFile::seek : nullptr);
}

OutputFile::~OutputFile() {
  freeIo(io_);
  if (!temporary_.empty()) ::unlink(temporary_.c_str());
}

int OutputFile::write(void* self, std::uint8_t* buffer, int size) {
  auto* const output = static_cast<OutputFile*>(self);
  for (int written = 0; written < size;) {
    const ssize_t bytes =
        ::write(output->file_.number(), buffer + written, static_cast<std::size_t>(size - written));
    if (bytes >= 0) {
      written += static_cast<int>(bytes);
    } else if (errno != EINTR) {
      if (output->writeError_ == 0) output->writeError_ = errno;
      return AVERROR(output->writeError_);
    }
  }
  return size;
}

std::int64_t OutputFile::seek(void* self, std::int64_t offset, int whence) {
  const auto* const output = static_cast<OutputFile*>(self);
  if (whence == AVSEEK_SIZE) {
    std::int64_t size = 0;
    return isRegular(output->file_.number(), &size) ? size : AVERROR(ENOSYS);
  }
  const off_t position = ::lseek(output->file_.number(), offset, whence & ~AVSEEK_FORCE);
  return position < 0 ? AVERROR(errno) : position;
}

void OutputFile::failWriting(int systemError) const {
  if (systemError == EPIPE)
    throw Failure(name_ + ": whoever read it has closed the pipe: " + systemText(systemError));
  throw Failure(name_ + " cannot be written: " + systemText(systemError));
}

void OutputFile::check() const {
  if (writeError_ != 0) failWriting(writeError_);
}

void OutputFile::commit() {
  avio_flush(io_);
  check();
  if (!file_.close()) failWriting(errno);
  if (temporary_.empty()) return;
  int failed = -1;
  if (overwrite_) {
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
}

}  // namespace cmhost
