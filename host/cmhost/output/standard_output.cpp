#include "host/cmhost/output/standard_output.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <utility>

#include "host/cmhost/support/failure.h"

namespace cmhost::standard_output {

namespace {

FileDescriptor reserved;

}  // namespace

void reserve(bool quiet) {
  std::fflush(stdout);
  reserved = FileDescriptor(::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  const FileDescriptor nowhere(::open("/dev/null", O_WRONLY | O_CLOEXEC));
  const int messages = quiet && nowhere.number() >= 0 ? nowhere.number() : STDERR_FILENO;
  if (reserved.number() < 0 || ::dup2(messages, STDOUT_FILENO) < 0)
    throw Failure("standard output: cannot redirect: " + systemText(errno));
  // By default, lines would stay in a buffer until the end of the run unless printed to a terminal.
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
}

FileDescriptor take() { return std::move(reserved); }

}  // namespace cmhost::standard_output
