// Network addresses, over the loopback interface, between cmhost and ffmpeg.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <nlohmann/json.hpp>
#include <thread>

#include "tests/host/cmhost/fixtures/program.h"
#include "tests/host/cmhost/fixtures/web_server.h"

namespace {

using program::Result;

constexpr int frames = 75;

void sleepSeconds(double seconds) {
  std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
}

// A port that nothing uses.
int freePort(int type) {
  const int socket = ::socket(AF_INET, type | SOCK_CLOEXEC, 0);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* const generic = reinterpret_cast<sockaddr*>(&address);
  const bool isBound =
      ::bind(socket, generic, size) == 0 && ::getsockname(socket, generic, &size) == 0;
  ::close(socket);
  if (!isBound) throw std::runtime_error("no port");
  return ntohs(address.sin_port);
}

std::string addressAt(const std::string& scheme, int type, const std::string& path = "") {
  return scheme + "://127.0.0.1:" + std::to_string(freePort(type)) + path;
}

// Serves a file by HTTP. A connection that starts at its beginning breaks off in the middle.
class BreakingServer {
 public:
  explicit BreakingServer(std::string content)
      : content_(std::move(content)), listening_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (::bind(listening_, generic, size) != 0 || ::listen(listening_, 5) != 0 ||
        ::getsockname(listening_, generic, &size) != 0)
      throw std::runtime_error("no server");
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] { serve(); });
  }

  ~BreakingServer() {
    ::shutdown(listening_, SHUT_RDWR);
    thread_.join();
    ::close(listening_);
  }

  std::string address() const { return "http://127.0.0.1:" + std::to_string(port_) + "/in.ts"; }
  int connections() const { return connections_; }

 private:
  void serve() {
    for (int client; (client = ::accept(listening_, nullptr, nullptr)) >= 0; ::close(client)) {
      char request[4096] = {};
      if (::read(client, request, sizeof request - 1) <= 0) continue;
      const std::string text = request;
      const std::size_t range = text.find("bytes=");
      const std::size_t from = range != std::string::npos ? std::stoul(text.substr(range + 6)) : 0;
      const std::string all = std::to_string(content_.size());
      std::string answer = from > 0 ? "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes " +
                                          std::to_string(from) + "-" +
                                          std::to_string(content_.size() - 1) + "/" + all + "\r\n"
                                    : "HTTP/1.1 200 OK\r\nAccept-Ranges: bytes\r\n";
      answer += "Content-Length: " + std::to_string(content_.size() - from) +
                "\r\nConnection: close\r\n\r\n" + content_.substr(from);
      ++connections_;
      if (from == 0) answer.resize(answer.size() - content_.size() / 2);
      for (std::size_t sent = 0; sent < answer.size();) {
        const ssize_t count =
            ::send(client, answer.data() + sent, answer.size() - sent, MSG_NOSIGNAL);
        if (count <= 0) break;
        sent += static_cast<std::size_t>(count);
      }
    }
  }

  std::string content_;
  int listening_;
  int port_ = 0;
  std::atomic<int> connections_{0};
  std::thread thread_;
};

class Live : public testing::Test {
 protected:
  void SetUp() override {
    program::ffmpeg(folder.path(),
                    "-f lavfi -i testsrc2=size=64x48:rate=25:duration=3 -f lavfi -i "
                    "sine=duration=3 -c:a aac -pix_fmt yuv420p -c:v libx264 -g 10 -bf 0 in.ts");
  }

  // Ends by itself; the test must not wait for ever.
  std::future<int> background(const std::string& words, double delay = 0) {
    return std::async(std::launch::async, [this, words, delay] {
      const std::string command = "cd " + folder.path() + " && sleep " + std::to_string(delay) +
                                  " && timeout 40 ffmpeg -nostdin -v quiet -y " + words;
      return std::system(command.c_str());
    });
  }

  Result mark(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"--overwrite", "--report", "report.json"});
    program::Process process(folder.path(), arguments);
    return process.wait(std::chrono::seconds(50));
  }

  int framesIn(const std::string& file) {
    const std::string found = program::probe(
        folder.path(), file, "stream=nb_read_frames -select_streams v -count_frames");
    const std::size_t at = found.find('=');
    return at != std::string::npos ? std::atoi(found.c_str() + at + 1) : 0;
  }

  nlohmann::json report() {
    return nlohmann::json::parse(program::readFile(folder / "report.json"));
  }

  program::Folder folder;
};

TEST_F(Live, HttpGivesTheSameFramesAsTheFile) {
  const web::Server server({{"/in.ts", program::readFile(folder / "in.ts")}});
  const Result result = mark({"--hash", "web", server.address() + "/in.ts", "out.nut"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(report()["frames_late"], 0);
  ASSERT_EQ(mark({"--hash", "file", "in.ts", "out.nut"}).exitCode, 0);
  EXPECT_FALSE(report().contains("frames_late"));
  EXPECT_TRUE(program::readFile(folder / "web") == program::readFile(folder / "file"));
}

TEST_F(Live, HttpThatBreaksOffIsContinued) {
  BreakingServer server(program::readFile(folder / "in.ts"));
  const Result result = mark({server.address(), "out.nut"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_GE(server.connections(), 2);
  EXPECT_EQ(framesIn("out.nut"), frames);
  BreakingServer another(program::readFile(folder / "in.ts"));
  EXPECT_EQ(mark({"--input-option", "reconnect=0", "--input-option", "reconnect_streamed=0",
                  another.address(), "out.nut"})
                .exitCode,
            1);
}

TEST_F(Live, NothingElseIsOpenedUnasked) {
  program::writeFile(folder / "secret.ts", program::readFile(folder / "in.ts"));
  const std::string local = "#EXTM3U\n#EXT-X-TARGETDURATION:3\n#EXTINF:3,\nfile://" +
                            (folder / "secret.ts") + "\n#EXT-X-ENDLIST\n";
  const std::string remote =
      "#EXTM3U\n#EXT-X-TARGETDURATION:3\n#EXTINF:3,\nin.ts\n#EXT-X-ENDLIST\n";
  const web::Server server({{"/local.m3u8", local},
                            {"/remote.m3u8", remote},
                            {"/in.ts", program::readFile(folder / "in.ts")}});
  const std::string at = server.address();
  program::expectError(mark({at + "/remote.m3u8", "out.nut"}), 1, "use --allow-references network");
  program::expectError(mark({"--allow-references", "file", at + "/local.m3u8", "out.nut"}), 1,
                       "use --allow-references network");
  program::expectError(mark({"--allow-references", "network", at + "/local.m3u8", "out.nut"}), 1,
                       "whose protocol is not one of");
  const Result allowed = mark({"--allow-references", "network", at + "/remote.m3u8", "out.nut"});
  EXPECT_EQ(allowed.exitCode, 0) << allowed.err;
  EXPECT_EQ(framesIn("out.nut"), frames);
}

TEST_F(Live, UdpInBothDirections) {
  const std::string in = addressAt("udp", SOCK_DGRAM);
  const std::string out = addressAt("udp", SOCK_DGRAM);
  auto receiver = background("-i '" + out + "?timeout=8000000' -map 0 -c copy got.ts");
  program::Process process(folder.path(), {"--conceal", "--report", "report.json", in, out});
  sleepSeconds(1);
  ASSERT_EQ(background("-re -i in.ts -c copy -f mpegts '" + in + "?pkt_size=1316'").get(), 0);
  sleepSeconds(1);
  process.signal(SIGTERM);
  const Result result = process.wait();
  EXPECT_EQ(result.exitCode, 128 + SIGTERM) << result.err;
  receiver.get();
  EXPECT_GT(framesIn("got.ts"), frames / 2);
  EXPECT_TRUE(report().contains("frames_late"));
  EXPECT_EQ(report()["result"], "interrupted");
}

TEST_F(Live, RtmpInBothDirections) {
  const std::string out = addressAt("rtmp", SOCK_STREAM, "/live/a");
  auto receiver = background("-listen 1 -i " + out + " -c copy got.mkv");
  sleepSeconds(1.5);
  const Result sent = mark({"in.ts", out});
  ASSERT_EQ(sent.exitCode, 0) << sent.err;
  receiver.get();
  EXPECT_EQ(framesIn("got.mkv"), frames);
  EXPECT_EQ(report()["output"]["container"], "flv");

  const std::string in = addressAt("rtmp", SOCK_STREAM, "/live/b");
  auto sender = background("-re -i in.ts -c copy -bsf:a aac_adtstoasc -f flv " + in, 1.5);
  const Result received = mark({"--input-option", "listen=1", in, "out.nut"});
  sender.get();
  EXPECT_EQ(received.exitCode, 0) << received.err;
  EXPECT_GE(framesIn("out.nut"), frames - 5);
}

TEST_F(Live, SrtInBothDirections) {
  if (program::ffmpeg(folder.path(), "-hide_banner -protocols").find("srt\n") == std::string::npos)
    GTEST_SKIP() << "built without srt";
  const std::string in = addressAt("srt", SOCK_DGRAM);
  const std::string out = addressAt("srt", SOCK_DGRAM);
  auto receiver = background("-i '" + out + "?mode=listener' -map 0 -c copy got.ts");
  auto sender = background("-re -i in.ts -c copy -f mpegts " + in, 1.5);
  const Result result = mark({"--conceal", in + "?mode=listener", out});
  EXPECT_TRUE(result.exitCode == 0 || result.exitCode == 3) << result.err;
  sender.get();
  receiver.get();
  EXPECT_GE(report()["frames"], frames / 2);
  EXPECT_GT(framesIn("got.ts"), 0);
}

TEST_F(Live, HttpOutput) {
  const std::string out = addressAt("http", SOCK_STREAM);
  auto receiver = background("-listen 1 -i " + out + " -map 0 -c copy got.ts");
  sleepSeconds(1.5);
  const Result sent = mark({"in.ts", out});
  EXPECT_EQ(sent.exitCode, 0) << sent.err;
  receiver.get();
  EXPECT_EQ(framesIn("got.ts"), frames);
}

TEST_F(Live, WaitingForASenderEndsWithASignal) {
  program::Process process(folder.path(), {addressAt("udp", SOCK_DGRAM), "out.nut"});
  sleepSeconds(1);
  process.signal(SIGINT);
  const Result result = process.wait(std::chrono::seconds(20));
  EXPECT_EQ(result.exitCode, 128 + SIGINT) << result.err;
  EXPECT_FALSE(std::filesystem::exists(folder / "out.nut"));
}

TEST_F(Live, WhatCannotBeReachedIsReported) {
  const std::string nobody = addressAt("tcp", SOCK_STREAM);
  program::expectError(mark({nobody, "out.nut"}), 1, nobody + ": cannot open: Connection refused");
  program::expectError(mark({"in.ts", nobody}), 1, nobody + ": cannot open: Connection refused");
  program::expectError(mark({"--muxer-option", "bogus=1", "in.ts", addressAt("udp", SOCK_DGRAM)}),
                       2, "has no option 'bogus'");
}

TEST_F(Live, MemoryDoesNotGrowWithTheLength) {
  if (program::isSanitized) GTEST_SKIP() << "a sanitizer keeps freed memory";
  program::ffmpeg(folder.path(), "-stream_loop 2 -i in.ts -c copy short.ts");
  program::ffmpeg(folder.path(), "-stream_loop 100 -i in.ts -c copy long.ts");
  const web::Server server({{"/short", program::readFile(folder / "short.ts")},
                            {"/long", program::readFile(folder / "long.ts")}});
  const Result few = mark({"--conceal", server.address() + "/short", "null:"});
  const Result many = mark({"--conceal", server.address() + "/long", "null:"});
  EXPECT_LT(many.exitCode, 4) << many.err;
  EXPECT_GT(report()["frames"], 5000);
  EXPECT_LT(many.peakKilobytes, few.peakKilobytes + 8000);
}

}  // namespace
