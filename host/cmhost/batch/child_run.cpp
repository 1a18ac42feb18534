#include "host/cmhost/batch/child_run.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <utility>

#include "host/cmhost/support/failure.h"
#include "host/cmhost/support/messages.h"

namespace cmhost {

namespace {

constexpr std::size_t longestLine = 1 << 16;

struct PipeEnds {
  FileDescriptor read;
  FileDescriptor write;
};

PipeEnds newPipe() {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) throw Failure("cannot create a pipe: " + systemText(errno));
  ::fcntl(ends[0], F_SETFL, O_NONBLOCK);
  return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

// Runs in the new process. If this process is killed, so is the child.
[[noreturn]] void become(char* const* arguments, pid_t parent, int out, int err) {
  ::prctl(PR_SET_PDEATHSIG, SIGTERM);
  const int in = ::open("/dev/null", O_RDONLY);
  if (::getppid() == parent && ::dup2(in, STDIN_FILENO) >= 0 && ::dup2(out, STDOUT_FILENO) >= 0 &&
      ::dup2(err, STDERR_FILENO) >= 0)
    ::execv("/proc/self/exe", arguments);
  ::_exit(exitFailed);
}

// Returns false at the end of the pipe.
bool readAll(const FileDescriptor& pipe, std::string& text) {
  char part[4096];
  for (;;) {
    const ssize_t count = ::read(pipe.number(), part, sizeof part);
    if (count > 0) text.append(part, static_cast<std::size_t>(count));
    if (count == 0) return false;
    if (count < 0 && errno != EINTR) return errno == EAGAIN;
  }
}

}  // namespace

ChildRun::ChildRun(std::string name, const std::vector<std::string>& arguments)
    : name_(std::move(name)) {
  PipeEnds messages = newPipe();
  PipeEnds results = newPipe();
  std::vector<char*> words;
  words.reserve(arguments.size() + 1);
  for (const std::string& argument : arguments)
    words.push_back(const_cast<char*>(argument.c_str()));
  words.push_back(nullptr);
  const pid_t parent = ::getpid();
  process_ = ::fork();
  if (process_ < 0) throw Failure("cannot start a process: " + systemText(errno));
  if (process_ == 0) become(words.data(), parent, results.write.number(), messages.write.number());
  messages_ = std::move(messages.read);
  results_ = std::move(results.read);
}

void ChildRun::addTo(std::vector<pollfd>& waits) const {
  for (const FileDescriptor* pipe : {&messages_, &results_})
    if (pipe->number() >= 0) waits.push_back({pipe->number(), POLLIN, 0});
}

// Another process may hold the pipes open after the child has ended.
void ChildRun::advance() {
  int status = 0;
  const bool ended = ::waitpid(process_, &status, WNOHANG) == process_;
  read();
  printLines(ended);
  if (ended) status_ = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

void ChildRun::read() {
  if (messages_.number() >= 0 && !readAll(messages_, pending_)) messages_.close();
  if (results_.number() >= 0 && !readAll(results_, output_)) results_.close();
}

void ChildRun::printLines(bool all) {
  for (std::size_t end; (end = pending_.find('\n')) != std::string::npos;) {
    printLine(pending_.substr(0, end));
    pending_.erase(0, end + 1);
  }
  if (pending_.empty() || (!all && pending_.size() < longestLine)) return;
  printLine(pending_);
  pending_.clear();
}

// The objects of --progress=json contain the name.
void ChildRun::printLine(const std::string& line) const {
  static const std::string program = "cmhost: ";
  std::string text = line;
  if (line.compare(0, program.size(), program) == 0)
    text.insert(program.size(), name_ + ": ");
  else if (line.compare(0, 1, "{") != 0)
    text.insert(0, name_ + ": ");
  text += '\n';
  std::fwrite(text.data(), 1, text.size(), stderr);
}

void ChildRun::signal(int number) const {
  if (!status_) ::kill(process_, number);
}

}  // namespace cmhost
