#include "tests/host/system_calls.h"

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
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace system_calls {

namespace {

constexpr int longestWaitMilliseconds = 30000;

sock_filter load(std::size_t offset) {
  return BPF_STMT(BPF_LD | BPF_W | BPF_ABS, static_cast<std::uint32_t>(offset));
}

sock_filter skipUnless(unsigned int test, std::uint32_t value, std::size_t count) {
  return BPF_JUMP(BPF_JMP | BPF_K | test, value, 0, static_cast<std::uint8_t>(count));
}

sock_filter end(std::uint32_t action) { return BPF_STMT(BPF_RET | BPF_K, action); }

// Returns the file on which held calls are announced, if that is asked for. Called between fork and
// exec: a failure ends the process.
int install(std::vector<sock_filter> filter, unsigned int flags) {
  filter.push_back(end(SECCOMP_RET_ALLOW));
  const sock_fprog program = {static_cast<unsigned short>(filter.size()), filter.data()};
  if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) ::_exit(126);
  const long result = ::syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, flags, &program);
  if (result < 0) ::_exit(126);
  return static_cast<int>(result);
}

// One file, sent or received along with one byte.
class FileMessage {
 public:
  FileMessage() {
    message_.msg_iov = &part_;
    message_.msg_iovlen = 1;
    message_.msg_control = control_;
    message_.msg_controllen = sizeof control_;
  }
  FileMessage(const FileMessage&) = delete;
  FileMessage& operator=(const FileMessage&) = delete;

  void send(int socket, int file) {
    cmsghdr* const header = CMSG_FIRSTHDR(&message_);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof file);
    std::memcpy(CMSG_DATA(header), &file, sizeof file);
    ::sendmsg(socket, &message_, 0);
  }

  int receive(int socket) {
    int file = -1;
    if (::recvmsg(socket, &message_, MSG_CMSG_CLOEXEC) == 1)
      if (const cmsghdr* const header = CMSG_FIRSTHDR(&message_))
        std::memcpy(&file, CMSG_DATA(header), sizeof file);
    return file;
  }

 private:
  char byte_ = 0;
  iovec part_ = {&byte_, 1};
  alignas(cmsghdr) char control_[CMSG_SPACE(sizeof(int))] = {};
  msghdr message_ = {};
};

}  // namespace

std::function<void()> fail(const std::vector<Failing>& calls) {
  std::vector<sock_filter> filter;
  for (const Failing& failing : calls) {
    const auto number = static_cast<std::uint32_t>(failing.call);
    const sock_filter failed = end(SECCOMP_RET_ERRNO | static_cast<std::uint32_t>(failing.error));
    filter.push_back(load(offsetof(seccomp_data, nr)));
    if (failing.argument < 0) {
      filter.push_back(skipUnless(BPF_JEQ, number, 1));
    } else {
      const std::size_t argument =
          offsetof(seccomp_data, args) + static_cast<std::size_t>(failing.argument) * 8;
      filter.push_back(skipUnless(BPF_JEQ, number, 4));
      filter.push_back(load(argument));
      filter.push_back(BPF_STMT(BPF_ALU | BPF_AND | BPF_K, failing.bits));
      filter.push_back(skipUnless(BPF_JEQ, failing.bits, 1));
    }
    filter.push_back(failed);
  }
  return [filter] { install(filter, 0); };
}

Gate::~Gate() {
  for (const int file : {ends_[0], ends_[1], listener_})
    if (file >= 0) ::close(file);
}

std::function<void()> Gate::prepare() {
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends_) != 0)
    throw std::runtime_error("no socket");
  return [this] {
    std::vector<sock_filter> filter = {load(offsetof(seccomp_data, nr))};
    for (const int call : calls_) {
      filter.push_back(skipUnless(BPF_JEQ, static_cast<std::uint32_t>(call), 1));
      filter.push_back(end(SECCOMP_RET_USER_NOTIF));
    }
    FileMessage().send(ends_[1], install(std::move(filter), SECCOMP_FILTER_FLAG_NEW_LISTENER));
  };
}

bool Gate::wait() {
  if (ends_[1] >= 0) {
    ::close(std::exchange(ends_[1], -1));
    listener_ = FileMessage().receive(ends_[0]);
  }
  if (listener_ < 0) return false;
  for (;;) {
    pollfd call = {listener_, POLLIN, 0};
    if (::poll(&call, 1, longestWaitMilliseconds) != 1 || (call.revents & POLLIN) == 0)
      return false;
    seccomp_notif notice = {};
    if (::ioctl(listener_, SECCOMP_IOCTL_NOTIF_RECV, &notice) != 0)
      continue;  // interrupted already
    id_ = notice.id;
    held_.number = notice.data.nr;
    held_.process = static_cast<pid_t>(notice.pid);
    std::copy(std::begin(notice.data.args), std::end(notice.data.args), held_.arguments.begin());
    return true;
  }
}

void Gate::open(int error) {
  seccomp_notif_resp response = {};
  response.id = id_;
  response.error = -error;
  if (error == 0) response.flags = SECCOMP_USER_NOTIF_FLAG_CONTINUE;
  ::ioctl(listener_, SECCOMP_IOCTL_NOTIF_SEND, &response);
}

}  // namespace system_calls
