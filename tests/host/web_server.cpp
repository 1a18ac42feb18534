#include "tests/host/web_server.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <stdexcept>
#include <utility>
#include <vector>

namespace web {

namespace {

std::string requestFrom(int connection) {
  std::string request;
  char part[4096];
  while (request.find("\r\n\r\n") == std::string::npos) {
    const ssize_t count = ::read(connection, part, sizeof part);
    if (count <= 0) break;
    request.append(part, static_cast<std::size_t>(count));
  }
  return request;
}

void answer(int connection, const std::map<std::string, std::string>& pages) {
  const std::string request = requestFrom(connection);
  const std::size_t begin = request.find(' ') + 1;
  const auto page = pages.find(request.substr(begin, request.find(' ', begin) - begin));
  const std::string text =
      page == pages.end()
          ? "HTTP/1.1 404 Not Found\r\nConnection: close\r\nContent-Length: 0\r\n\r\n"
          : "HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: " +
                std::to_string(page->second.size()) + "\r\n\r\n" + page->second;
  for (std::size_t done = 0; done < text.size();) {
    const ssize_t count = ::send(connection, text.data() + done, text.size() - done, MSG_NOSIGNAL);
    if (count <= 0) return;
    done += static_cast<std::size_t>(count);
  }
}

}  // namespace

Server::Server(std::map<std::string, std::string> pages) : pages_(std::move(pages)) {
  listening_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in place = {};
  place.sin_family = AF_INET;
  place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof place;
  auto* const address = reinterpret_cast<sockaddr*>(&place);
  if (::bind(listening_, address, size) != 0 || ::listen(listening_, 8) != 0 ||
      ::getsockname(listening_, address, &size) != 0)
    throw std::runtime_error("no web server");
  port_ = ntohs(place.sin_port);
  thread_ = std::thread([this] { serve(); });
}

Server::~Server() {
  ended_ = true;
  thread_.join();
  ::close(listening_);
}

std::string Server::address() const { return "http://127.0.0.1:" + std::to_string(port_); }

void Server::waitForConnection() const {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!connected_) {
    if (std::chrono::steady_clock::now() > deadline) {
      ADD_FAILURE() << "nobody connects to the web server";
      return;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

void Server::serve() {
  std::vector<int> silent;
  while (!ended_) {
    pollfd wait = {listening_, POLLIN, 0};
    if (::poll(&wait, 1, 20) <= 0) continue;
    const int connection = ::accept4(listening_, nullptr, nullptr, SOCK_CLOEXEC);
    connected_ = true;
    if (pages_.empty()) {
      silent.push_back(connection);
    } else {
      answer(connection, pages_);
      ::close(connection);
    }
  }
  for (const int connection : silent) ::close(connection);
}

}  // namespace web
