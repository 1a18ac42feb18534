#include "host/cmhost/input/input_file.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>

extern "C" {
#include <libavutil/error.h>
}

#include "host/cmhost/input/integrity/file_structure.h"
#include "host/cmhost/support/failure.h"
#include "host/cmhost/support/interruption.h"
#include "host/cmhost/support/picture_names.h"

namespace cmhost {

namespace {

// Without O_NONBLOCK, opening a named pipe waits for a writer and cannot be interrupted here.
FileDescriptor openForReading(const std::string& path, int firstNumber) {
  if (path != "-")
    return FileDescriptor(
        ::open(firstOf(path, firstNumber).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (::isatty(STDIN_FILENO) != 0)
    throw Failure("standard input is a terminal; pipe a video into it", exitUsage);
  return FileDescriptor(::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3));
}

}  // namespace

InputFile::InputFile(const std::string& path, const Options::KeyValues& options, int firstNumber)
    : name_(path == "-" ? "standard input" : path), demuxerOptions_(options) {
  if (isNetwork()) {
    if (schemeOf(name_) == "rtp") return;
    network_ = std::make_unique<NetworkIo>(name_, AVIO_FLAG_READ, options);
    demuxerOptions_ = network_->unused();
    return;
  }
  file_ = openForReading(path, firstNumber);
  if (file_.number() < 0) throw Failure(name_ + ": cannot open: " + systemText(errno));
  if (path != "-" && std::filesystem::is_directory(path))
    throw Failure(name_ + ": is a directory; give the name of a video file");
  const bool regular = isRegular(file_.number(), &size_);
  if (!regular) widenPipe(file_.number());
  io_ = newReader(this, &InputFile::read, regular ? &InputFile::seek : nullptr);
}

std::int64_t InputFile::size() const {
  if (isNetwork()) return -1;
  if (!seekable()) return passed_.size();
  return end_ >= 0 ? end_ : size_;
}

std::int64_t InputFile::position() const { return ::lseek(file_.number(), 0, SEEK_CUR); }

// Demuxers may seek past the end.
void InputFile::noteEnd() {
  std::int64_t now = 0;
  if (!endIsKept() && seekable() && isRegular(file_.number(), &now))
    end_ = std::min(now, position());
}

// Demuxers may reach the end while opening the file and then seek back.
void InputFile::keepEnd() {
  if (end_ >= 0 && position() < end_) end_ = -1;
  keepsEnd_ = true;
}

bool InputFile::hasGrown() const {
  std::int64_t now = 0;
  return seekable() && isRegular(file_.number(), &now) && now > size_;
}

std::int64_t InputFile::declaredSize() const {
  if (!seekable()) return cmhost::declaredSize(passed_);
  return cmhost::declaredSize(FileBytes(file_.number(), size()));
}

// A server may close the connection early, which is no error in HTTP/1.0.
std::string InputFile::missingFromNetwork() const {
  if (network_ == nullptr || network_->io()->eof_reached == 0) return "";
  const std::int64_t missing = avio_size(network_->io()) - avio_tell(network_->io());
  return missing > 0 ? std::to_string(missing) + " bytes are missing at the end" : "";
}

void InputFile::interrupt() {
  interrupted_ = true;
  interruption_.raise();
  if (network_ != nullptr) network_->interrupt();
}

bool InputFile::interrupted() const { return interrupted_ || interruption::received() != 0; }

// Reading a regular file does not block.
bool InputFile::waitForBytes() const {
  if (!seekable()) {
    pollfd waits[] = {{file_.number(), POLLIN, 0},
                      {interruption_.descriptor(), POLLIN, 0},
                      {interruption::descriptor(), POLLIN, 0}};
    while (::poll(waits, 3, -1) < 0 && errno == EINTR) continue;
  }
  return !interrupted();
}

int InputFile::read(void* self, std::uint8_t* buffer, int size) {
  auto* const input = static_cast<InputFile*>(self);
  for (;;) {
    if (!input->waitForBytes()) return AVERROR_EXIT;
    const std::int64_t most =
        input->endIsKept() ? std::clamp<std::int64_t>(input->end_ - input->position(), 0, size)
                           : size;
    const ssize_t bytes = ::read(input->file_.number(), buffer, static_cast<std::size_t>(most));
    if (bytes == 0) {
      input->noteEnd();
      return AVERROR_EOF;
    }
    if (bytes > 0) {
      if (!input->seekable()) input->passed_.add(buffer, static_cast<std::size_t>(bytes));
      return static_cast<int>(bytes);
    }
    if (errno != EINTR && errno != EAGAIN) return AVERROR(errno);
  }
}

std::int64_t InputFile::seek(void* self, std::int64_t offset, int whence) {
  return seekRegular(static_cast<InputFile*>(self)->file_.number(), offset, whence);
}

}  // namespace cmhost
