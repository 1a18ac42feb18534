#include "host/cmhost/support/file_io.h"

#include <fcntl.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <new>
#include <utility>

extern "C" {
#include <libavutil/error.h>
#include <libavutil/mem.h>
}

#include "host/cmhost/support/failure.h"

namespace cmhost {

namespace {

// Small enough to stay in the processor's cache until it is used.
constexpr int ioBufferBytes = 1 << 17;
constexpr int pipeBytes = 1 << 20;

IoPtr newIo(void* owner, bool writing, int (*read)(void*, std::uint8_t*, int),
            int (*write)(void*, WrittenByte*, int),
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
  return IoPtr(io);
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

Event::Event() : file_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (file_.number() < 0) throw Failure("cannot create an event descriptor: " + systemText(errno));
}

void Event::raise() { ::eventfd_write(file_.number(), 1); }

void IoFree::operator()(AVIOContext* io) const {
  av_freep(&io->buffer);
  avio_context_free(&io);
}

IoPtr newReader(void* owner, int (*read)(void*, std::uint8_t*, int),
                std::int64_t (*seek)(void*, std::int64_t, int)) {
  return newIo(owner, false, read, nullptr, seek);
}

IoPtr newWriter(void* owner, int (*write)(void*, WrittenByte*, int),
                std::int64_t (*seek)(void*, std::int64_t, int)) {
  return newIo(owner, true, nullptr, write, seek);
}

bool isRegular(int file, std::int64_t* size) {
  struct stat status = {};
  if (::fstat(file, &status) != 0 || !S_ISREG(status.st_mode)) return false;
  if (size != nullptr) *size = status.st_size;
  return true;
}

std::int64_t seekRegular(int file, std::int64_t offset, int whence) {
  if (whence == AVSEEK_SIZE) {
    std::int64_t size = 0;
    return isRegular(file, &size) ? size : AVERROR(ENOSYS);
  }
  const off_t position = ::lseek(file, offset, whence & ~AVSEEK_FORCE);
  return position < 0 ? AVERROR(errno) : position;
}

void widenPipe(int file) { ::fcntl(file, F_SETPIPE_SZ, pipeBytes); }

bool synchronise(int file) {
  struct stat status = {};
  if (::fstat(file, &status) != 0) return false;
  if (!S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode) && !S_ISBLK(status.st_mode)) return true;
  int failed = 0;
  do {
    failed = ::fsync(file);
  } while (failed != 0 && errno == EINTR);
  return failed == 0 || errno == EINVAL || errno == EROFS || errno == ENOTSUP;
}

std::string systemText(int error) { return std::strerror(error); }

void failWriting(const std::string& name, int error) {
  if (error == EPIPE) throw Failure(name + ": the reader closed the pipe: " + systemText(error));
  throw Failure(name + ": cannot write: " + systemText(error));
}

}  // namespace cmhost
