#include "tests/host/watched_run.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <set>
#include <thread>

namespace watched {

namespace {

struct Call {
  int number;
  const char* name;
  int path;  ///< the argument that is a path to open; -1: the call is forbidden
};

constexpr Call calls[] = {
    {SYS_open, "open", 0},      {SYS_creat, "creat", 0},
    {SYS_openat, "openat", 1},  {SYS_openat2, "openat2", 1},
    {SYS_socket, "socket", -1}, {SYS_connect, "connect", -1},
    {SYS_bind, "bind", -1},     {SYS_socketpair, "socketpair", -1},
    {SYS_execve, "execve", -1}, {SYS_execveat, "execveat", -1},
};
constexpr std::size_t callCount = sizeof calls / sizeof *calls;

// Every call of the list is told to the listener, all others go through.
std::array<sock_filter, callCount + 6> filterProgram() {
  std::array<sock_filter, callCount + 6> program = {};
  std::size_t at = 0;
  program[at++] = BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, arch));
  program[at++] = BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, AUDIT_ARCH_X86_64, 1, 0);
  program[at++] = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS);
  program[at++] = BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr));
  for (std::size_t i = 0; i < callCount; ++i)
    program[at++] = BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned int>(calls[i].number),
                             static_cast<unsigned char>(callCount - i), 0);
  program[at++] = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW);
  program[at++] = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_USER_NOTIF);
  return program;
}

// One file descriptor as a message between two processes.
struct DescriptorMessage {
  explicit DescriptorMessage(int descriptor = -1) {
    header.msg_iov = &part;
    header.msg_iovlen = 1;
    header.msg_control = control;
    header.msg_controllen = sizeof control;
    cmsghdr* const content = CMSG_FIRSTHDR(&header);
    content->cmsg_level = SOL_SOCKET;
    content->cmsg_type = SCM_RIGHTS;
    content->cmsg_len = CMSG_LEN(sizeof descriptor);
    std::memcpy(CMSG_DATA(content), &descriptor, sizeof descriptor);
  }

  int descriptor() const {
    int result = -1;
    if (const cmsghdr* const content = CMSG_FIRSTHDR(&header))
      std::memcpy(&result, CMSG_DATA(content), sizeof result);
    return result;
  }

  char byte = 0;
  iovec part = {&byte, 1};
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
  msghdr header = {};
};

// In the child: from now on the parent is told of its calls.
void startWatch(int toParent) {
  auto program = filterProgram();
  const sock_fprog filter = {static_cast<unsigned short>(program.size()), program.data()};
  ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
  const long listener =
      ::syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_NEW_LISTENER, &filter);
  if (listener < 0) ::_exit(126);
  const DescriptorMessage message(static_cast<int>(listener));
  if (::sendmsg(toParent, &message.header, 0) != 1) ::_exit(126);
  ::close(static_cast<int>(listener));
}

std::string textAt(pid_t process, std::uint64_t address) {
  char text[4096] = {};
  const std::string memory = "/proc/" + std::to_string(process) + "/mem";
  const int file = ::open(memory.c_str(), O_RDONLY | O_CLOEXEC);
  const ssize_t bytes = ::pread(file, text, sizeof text - 1, static_cast<off_t>(address));
  ::close(file);
  return bytes > 0 ? text : "?";
}

// In the parent: takes and answers what the child's calls are told as, until nobody can call.
class Listener {
 public:
  Listener(int descriptor, Run& run) : descriptor_(descriptor), run_(run) {
    thread_ = std::thread([this] { listen(); });
  }

  ~Listener() {
    ended_ = true;
    thread_.join();
    ::close(descriptor_);
  }

 private:
  void listen() {
    while (!ended_) {
      pollfd wait = {descriptor_, POLLIN, 0};
      if (::poll(&wait, 1, 20) > 0 && (wait.revents & POLLIN) != 0) takeCall();
    }
  }

  void takeCall() {
    seccomp_notif told = {};
    if (::ioctl(descriptor_, SECCOMP_IOCTL_NOTIF_RECV, &told) != 0) return;
    seccomp_notif_resp answer = {};
    answer.id = told.id;
    const auto* const call =
        std::find_if(std::begin(calls), std::end(calls),
                     [&](const Call& each) { return each.number == told.data.nr; });
    const bool isOwnStart = call->number == SYS_execve && !started_;
    started_ = started_ || isOwnStart;
    if (call->path >= 0) {
      run_.opened.push_back(textAt(static_cast<pid_t>(told.pid), told.data.args[call->path]));
    } else if (!isOwnStart) {
      run_.forbidden.emplace_back(call->name);
    }
    if (call->path >= 0 || isOwnStart) {
      answer.flags = SECCOMP_USER_NOTIF_FLAG_CONTINUE;
    } else {
      answer.error = -EPERM;
    }
    ::ioctl(descriptor_, SECCOMP_IOCTL_NOTIF_SEND, &answer);
  }

  int descriptor_;
  Run& run_;
  bool started_ = false;
  std::atomic<bool> ended_{false};
  std::thread thread_;
};

bool startsWith(const std::string& text, const std::string& start) {
  return text.compare(0, start.size(), start) == 0;
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
    std::set<std::string> result;
    for (const std::string& path : run.opened)
      if (!isOneOf({"in.y4m", "out.mkv"}, path)) result.insert(path);
    return result;
  }();
  return files;
}

}  // namespace

Run run(const std::string& folder, const std::vector<std::string>& arguments,
        program::Streams streams, std::chrono::seconds longest) {
  // A leak checker reads files of /proc and starts threads: it would be seen as the program.
  const program::Variable noLeakCheck("ASAN_OPTIONS", "detect_leaks=0");
  Run run;
  int ends[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
    throw std::runtime_error("no sockets");
  streams.prepare = [&ends] { startWatch(ends[1]); };
  program::Process process(folder, arguments, streams);
  ::close(ends[1]);
  DescriptorMessage message;
  const bool watching = ::recvmsg(ends[0], &message.header, MSG_CMSG_CLOEXEC) == 1;
  ::close(ends[0]);
  if (!watching) throw std::runtime_error("the system does not let system calls be watched");
  {
    const Listener listener(message.descriptor(), run);
    run.result = process.wait(longest);
  }
  return run;
}

std::vector<std::string> unexpected(const std::vector<std::string>& opened,
                                    const std::vector<std::string>& expected) {
  std::vector<std::string> result;
  for (const std::string& path : opened)
    if (!isOneOf(expected, path) && ordinaryFiles().count(path) == 0) result.push_back(path);
  return result;
}

}  // namespace watched
