#pragma once

#include <atomic>
#include <map>
#include <string>
#include <thread>

/// A web server on this machine's own address, for one test.
namespace web {

class Server {
 public:
  /// Answers with the pages, by their paths. Without pages it takes connections and says nothing.
  explicit Server(std::map<std::string, std::string> pages);
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  /// "http://127.0.0.1:PORT"
  std::string address() const;

  /// Waits until somebody has connected; half a minute at most, which fails the test.
  void waitForConnection() const;

 private:
  void serve();

  std::map<std::string, std::string> pages_;
  int listening_ = -1;
  int port_ = 0;
  std::atomic<bool> ended_{false};
  std::atomic<bool> connected_{false};
  std::thread thread_;
};

}  // namespace web
