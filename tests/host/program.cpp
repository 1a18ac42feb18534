#include "tests/host/program.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

namespace program {

namespace {

constexpr auto longestRun = std::chrono::seconds(60);

int openFor(const std::string& path) {
  return ::open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
}

double seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

int waitFor(pid_t child, std::chrono::seconds longest, Result& result) {
  const auto deadline = std::chrono::steady_clock::now() + longest;
  for (;;) {
    int status = 0;
    rusage used = {};
    if (::wait4(child, &status, WNOHANG, &used) == child) {
      result.peakKilobytes = used.ru_maxrss;
      result.processorSeconds = seconds(used.ru_utime) + seconds(used.ru_stime);
      return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }
    if (std::chrono::steady_clock::now() > deadline) {
      ADD_FAILURE() << "cmhost runs for more than " << longest.count() << " s";
      ::kill(child, SIGKILL);
      ::waitpid(child, &status, 0);
      return -SIGKILL;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
}

}  // namespace

int numberFrom(const char* variable, int usual) {
  const char* const text = std::getenv(variable);
  return text != nullptr ? std::stoi(text) : usual;
}

std::string Result::messages() const {
  std::string result;
  std::istringstream stream(err);
  for (std::string line; std::getline(stream, line);)
    if (line.rfind("cmhost: ", 0) == 0) result += line + "\n";
  return result;
}

Variable::Variable(const char* name, const std::string& value) : name_(name) {
  if (const char* const before = std::getenv(name)) before_ = before;
  ::setenv(name, value.c_str(), 1);
}

Variable::~Variable() {
  if (before_) {
    ::setenv(name_, before_->c_str(), 1);
  } else {
    ::unsetenv(name_);
  }
}

Process::Process(const std::string& folder, const std::vector<std::string>& arguments,
                 const Streams& streams)
    : streams_(streams) {
  const int in = streams.in >= 0 ? ::dup(streams.in) : ::open("/dev/null", O_RDONLY | O_CLOEXEC);
  const int out = streams.out >= 0 ? ::dup(streams.out) : openFor(caught_ / "out");
  const int err = streams.err >= 0 ? ::dup(streams.err) : openFor(caught_ / "err");

  std::vector<std::string> words = streams.wrapper;
  words.emplace_back(CMHOST_PROGRAM);
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);

  child_ = ::fork();
  if (child_ < 0) throw std::runtime_error("no process");
  if (child_ == 0) {
    ::dup2(in, STDIN_FILENO);
    ::dup2(out, STDOUT_FILENO);
    ::dup2(err, STDERR_FILENO);
    // Whoever runs the tests may ignore them.
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE})
      std::signal(number, SIG_DFL);
    if (streams.prepare) streams.prepare();
    if (::chdir(folder.c_str()) == 0) ::execvp(argv[0], argv.data());
    ::_exit(127);
  }
  ::close(in);
  ::close(out);
  ::close(err);
}

Process::~Process() {
  if (child_ <= 0) return;
  ::kill(child_, SIGKILL);
  ::waitpid(child_, nullptr, 0);
}

// A number below 1 would mean many processes or all.
void Process::signal(int number) const {
  if (child_ > 0)
    ::kill(child_, number);
  else
    ADD_FAILURE() << "cmhost has been waited for and gets no signal";
}

std::string Process::errSoFar() const { return readFile(caught_ / "err"); }

Result Process::wait(std::chrono::seconds longest) {
  Result result;
  if (child_ <= 0) {
    ADD_FAILURE() << "cmhost does not run";
    return result;
  }
  result.exitCode = waitFor(std::exchange(child_, -1), longest, result);
  if (streams_.out < 0) result.out = readFile(caught_ / "out");
  if (streams_.err < 0) result.err = readFile(caught_ / "err");
  return result;
}

Result run(const std::string& folder, const std::vector<std::string>& arguments,
           const Streams& streams) {
  return Process(folder, arguments, streams).wait();
}

namespace {

std::string shell(const std::string& folder, const std::string& command) {
  std::FILE* const pipe = ::popen(("cd '" + folder + "' && " + command).c_str(), "r");
  if (pipe == nullptr) throw std::runtime_error("no process");
  std::string result;
  char part[4096];
  for (std::size_t count; (count = std::fread(part, 1, sizeof part, pipe)) > 0;)
    result.append(part, count);
  if (::pclose(pipe) != 0) throw std::runtime_error("it fails: " + command);
  return result;
}

}  // namespace

std::string ffmpeg(const std::string& folder, const std::string& words) {
  return shell(folder, "ffmpeg -nostdin -v error -y " + words);
}

std::string probe(const std::string& folder, const std::string& file, const std::string& entries) {
  return shell(folder, "ffprobe -v error -of default=nw=1 -show_entries " + entries + " " + file);
}

Pipe::Pipe() : ends_{-1, -1} {
  if (::pipe2(ends_, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  std::signal(SIGPIPE, SIG_IGN);
}

Pipe::~Pipe() {
  closeReadEnd();
  closeWriteEnd();
}

void Pipe::closeReadEnd() {
  if (ends_[0] >= 0) ::close(std::exchange(ends_[0], -1));
}

void Pipe::closeWriteEnd() {
  if (ends_[1] >= 0) ::close(std::exchange(ends_[1], -1));
}

bool Pipe::write(const std::string& bytes) const {
  for (std::size_t done = 0; done < bytes.size();) {
    const ssize_t count = ::write(ends_[1], bytes.data() + done, bytes.size() - done);
    if (count < 0) return false;
    done += static_cast<std::size_t>(count);
  }
  return true;
}

void Pipe::waitUntilEmpty() const {
  const auto deadline = std::chrono::steady_clock::now() + longestRun;
  int waiting = 1;
  while (::ioctl(ends_[1], FIONREAD, &waiting) == 0 && waiting > 0) {
    if (std::chrono::steady_clock::now() > deadline) {
      ADD_FAILURE() << "nobody reads the pipe";
      return;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
}

std::string Pipe::readAll() const {
  std::string result;
  char part[65536];
  for (ssize_t count; (count = ::read(ends_[0], part, sizeof part)) > 0;)
    result.append(part, static_cast<std::size_t>(count));
  return result;
}

Folder::Folder() {
  std::string pattern = testing::TempDir() + "cmhost_test_XXXXXX";
  if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder");
  path_ = pattern;
}

Folder::~Folder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::vector<std::string> Folder::names() const {
  std::vector<std::string> result;
  for (const auto& entry : std::filesystem::directory_iterator(path_))
    result.push_back(entry.path().filename().string());
  std::sort(result.begin(), result.end());
  return result;
}

std::string stub(const std::string& behaviour) {
  return std::string(STUB_FOLDER) + "/stub_" + behaviour + ".so";
}

std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void writeFile(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
}

}  // namespace program
