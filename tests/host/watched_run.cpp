#include "tests/host/watched_run.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <iterator>
#include <set>
#include <stdexcept>
#include <thread>

#include "tests/host/system_calls.h"

namespace watched {

namespace {

// A busy machine takes its time, but not the program's.
constexpr rlim_t processorSeconds = 20;
constexpr auto longestWait = std::chrono::seconds(60);

// What is watched, with the argument that is a path to open. Calls without one are forbidden.
struct Watched {
  int number;
  const char* name;
  int path = -1;
};

constexpr Watched calls[] = {
    {SYS_open, "open", 0},      {SYS_creat, "creat", 0},
    {SYS_openat, "openat", 1},  {SYS_openat2, "openat2", 1},
    {SYS_socket, "socket"},     {SYS_connect, "connect"},
    {SYS_bind, "bind"},         {SYS_execve, "execve"},
    {SYS_execveat, "execveat"}, {SYS_socketpair, "socketpair"},
};

std::vector<int> callNumbers() {
  std::vector<int> numbers;
  for (const Watched& call : calls) numbers.push_back(call.number);
  return numbers;
}

std::string textAt(pid_t process, std::uint64_t address) {
  char text[4096] = {};
  const std::string memory = "/proc/" + std::to_string(process) + "/mem";
  const int file = ::open(memory.c_str(), O_RDONLY | O_CLOEXEC);
  const ssize_t bytes = ::pread(file, text, sizeof text - 1, static_cast<off_t>(address));
  ::close(file);
  return bytes > 0 ? text : "?";
}

// The sanitizers look at their own threads by number, and clang's OpenMP runtime notes the
// process's number in a file in memory, to know a second copy of itself. Where a process that was
// killed has left such a file under the same number, it also looks into its own memory map.
std::string withoutNumbers(const std::string& path, pid_t process) {
  if (path == "/proc/" + std::to_string(process) + "/maps") return "/proc/self/maps";
  const bool isNumbered =
      path.rfind("/proc/", 0) == 0 || path.rfind("/dev/shm/__KMP_REGISTERED_LIB_", 0) == 0;
  if (!isNumbered) return path;
  std::string result;
  for (const char character : path) {
    const bool isDigit = character >= '0' && character <= '9';
    if (!isDigit) result += character;
    if (isDigit && result.back() != '#') result += '#';
  }
  return result;
}

// Answers a process's calls until it has ended.
class Listener {
 public:
  Listener(system_calls::Gate& gate, Run& run) : gate_(gate), run_(run) {
    if (!gate_.wait()) throw std::runtime_error("the system does not let system calls be watched");
    gate_.open();  // the start of the program itself
    thread_ = std::thread([this] {
      while (!ended_)
        if (gate_.wait()) answer();
    });
  }

  ~Listener() {
    ended_ = true;
    thread_.join();
  }

 private:
  void answer() {
    const system_calls::Call& held = gate_.held();
    const auto* const call =
        std::find_if(std::begin(calls), std::end(calls),
                     [&](const Watched& each) { return each.number == held.number; });
    if (call->path < 0) {
      run_.forbidden.emplace_back(call->name);
      gate_.open(EPERM);
    } else {
      const auto path = static_cast<std::size_t>(call->path);
      run_.opened.push_back(
          withoutNumbers(textAt(held.process, held.arguments[path]), held.process));
      gate_.open();
    }
  }

  system_calls::Gate& gate_;
  Run& run_;
  std::atomic<bool> ended_{false};
  std::thread thread_;
};

void limitProcessorTime() {
  const rlimit limit = {processorSeconds, processorSeconds};
  ::setrlimit(RLIMIT_CPU, &limit);
}

bool startsWith(const std::string& text, const std::string& start) {
  return text.compare(0, start.size(), start) == 0;
}

// The C library's conversions between character sets, which transport streams name.
bool isConversion(const std::string& path) {
  return startsWith(path, "/usr/lib/") && path.find("/gconv/") != std::string::npos;
}

bool isOneOf(const std::vector<std::string>& names, const std::string& path) {
  return std::any_of(names.begin(), names.end(), [&](const std::string& name) {
    return path == name || startsWith(path, name + ".");
  });
}

// What a run opens on an ordinary video: libraries, the module, what these read of the system.
const std::set<std::string>& ordinaryFiles() {
  static const std::set<std::string> files = [] {
    const program::Folder folder;
    program::writeFile(folder / "in.y4m", "YUV4MPEG2 W160 H120 F25:1 Ip C420\nFRAME\n" +
                                              std::string(160 * 120 * 3 / 2, '\x80'));
    const Run run = watched::run(folder.path(), {"in.y4m", "out.mkv"});
    EXPECT_EQ(run.result.exitCode, 0) << run.result.err;
    // The folder that gets the output, and the system's own library, which is no file.
    std::set<std::string> result = {"/dev/urandom", ".", "linux-vdso.so.1", "/proc/self/maps"};
    for (const std::string& path : run.opened)
      if (path[0] == '/') result.insert(path);
    return result;
  }();
  return files;
}

}  // namespace

Run run(const std::string& folder, const std::vector<std::string>& arguments,
        program::Streams streams) {
  // A leak checker reads files of /proc and starts threads: it would be seen as the program. Where
  // memory is refused, a sanitizer would end the program instead of telling it.
  const program::Variable sanitizer("ASAN_OPTIONS", "detect_leaks=0:allocator_may_return_null=1");
  Run run;
  system_calls::Gate gate(callNumbers());
  streams.prepare = [watch = gate.prepare()] {
    limitProcessorTime();
    watch();
  };
  program::Process process(folder, arguments, streams);
  const Listener listener(gate, run);
  run.result = process.wait(longestWait);
  return run;
}

std::vector<std::string> unexpected(const std::vector<std::string>& opened,
                                    const std::vector<std::string>& expected) {
  std::vector<std::string> result;
  for (const std::string& path : opened)
    if (!isOneOf(expected, path) && !isConversion(path) && ordinaryFiles().count(path) == 0)
      result.push_back(path);
  return result;
}

}  // namespace watched
