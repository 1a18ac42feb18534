#include "tests/host/program.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

namespace program {

namespace {

constexpr auto longestRun = std::chrono::seconds(60);

int openFor(const std::string& path) {
  return ::open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
}

int waitFor(pid_t child) {
  const auto deadline = std::chrono::steady_clock::now() + longestRun;
  for (;;) {
    int status = 0;
    if (::waitpid(child, &status, WNOHANG) == child)
      return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    if (std::chrono::steady_clock::now() > deadline) {
      ADD_FAILURE() << "cmhost hangs";
      ::kill(child, SIGKILL);
      ::waitpid(child, &status, 0);
      return -SIGKILL;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
}

}  // namespace

Result run(const std::string& folder, const std::vector<std::string>& arguments,
           const Streams& streams) {
  const Folder caught;
  const std::string outPath = caught / "out";
  const std::string errPath = caught / "err";
  const int out = streams.out >= 0 ? ::dup(streams.out) : openFor(outPath);
  const int err = streams.err >= 0 ? ::dup(streams.err) : openFor(errPath);

  std::vector<std::string> words = {CMHOST_PROGRAM};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);

  const pid_t child = ::fork();
  if (child == 0) {
    ::dup2(out, STDOUT_FILENO);
    ::dup2(err, STDERR_FILENO);
    if (::chdir(folder.c_str()) == 0) ::execv(argv[0], argv.data());
    ::_exit(127);
  }
  ::close(out);
  ::close(err);
  Result result;
  result.exitCode = waitFor(child);
  if (streams.out < 0) result.out = readFile(outPath);
  if (streams.err < 0) result.err = readFile(errPath);
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
