// File names and file content do not affect a terminal.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <filesystem>
#include <thread>

#include "tests/host/cmhost/fixtures/clip.h"
#include "tests/host/cmhost/fixtures/program.h"

namespace {

using program::Folder;

// A line end as sent by a terminal, and the sequence that clears the progress line.
constexpr const char* expectedControls[] = {"\r\n", "\r\x1b[K"};

// Text with every kind of character that affects a terminal or misleads a reader.
const std::string hostile = "\x1b]0;x\x07\x1b[2J\u009b2J\u202e\u2028\x7f\xff";
const std::string escaped = R"(\x1b]0;x\x07\x1b[2J\u{9b}2J\u{202e}\u{2028}\x7f\xff)";

class Terminal : public testing::Test {
 protected:
  void SetUp() override {
    clip::Clip clip;
    clip.encoder = "ffv1";
    clip.pictures = clip::drawMany(AV_PIX_FMT_YUV420P, 64, 48, 3);
    clip::write(folder / "in.mkv", clip);
  }

  // The text that a terminal receives from a run with both outputs on it.
  std::string show(const std::vector<std::string>& arguments) {
    int master = -1;
    int slave = -1;
    EXPECT_EQ(::openpty(&master, &slave, nullptr, nullptr, nullptr), 0);
    ::fcntl(master, F_SETFD, FD_CLOEXEC);
    program::Streams streams;
    streams.out = streams.err = slave;
    program::Process process(folder.path(), arguments, streams);
    ::close(slave);
    std::string shown;
    std::array<char, 4096> part;
    for (ssize_t count; (count = ::read(master, part.data(), part.size())) > 0;)
      shown.append(part.data(), static_cast<std::size_t>(count));
    exitCode = process.wait().exitCode;
    ::close(master);
    return shown;
  }

  static void expectHarmless(std::string shown) {
    SCOPED_TRACE(testing::PrintToString(shown));
    for (const char* const control : expectedControls)
      for (std::size_t at; (at = shown.find(control)) != std::string::npos;)
        shown.erase(at, std::strlen(control));
    for (const char character : shown) {
      const auto code = static_cast<unsigned char>(character);
      EXPECT_TRUE(code >= 0x20 && code < 0x7f) << unsigned{code};
    }
  }

  Folder folder;
  int exitCode = -1;
};

TEST_F(Terminal, HostileNames) {
  const std::string in = hostile + ".mkv";
  std::filesystem::copy(folder / "in.mkv", folder / in);

  std::string shown = show({"--progress", "always", in, hostile + ".nut"});
  EXPECT_EQ(exitCode, 0);
  EXPECT_NE(shown.find("3 frames in "), std::string::npos) << shown;
  EXPECT_NE(shown.find("fps) to " + escaped + ".nut (rawvideo in nut)"), std::string::npos);
  expectHarmless(shown);

  shown = show({in, hostile + ".nut"});
  EXPECT_EQ(exitCode, 1);
  EXPECT_NE(shown.find(escaped + ".nut: file exists"), std::string::npos) << shown;
  expectHarmless(shown);

  for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
           {hostile, "out.nut"},
           {"in.mkv", hostile},
           {"in.mkv", hostile + "/out.nut"},
           {"--x" + hostile, "in.mkv", "out.nut"},
           {"--start", hostile, "in.mkv", "out.nut"},
           {"--convert", hostile, "in.mkv", "out.nut"},
           {"--encoder", hostile, "in.mkv", "out.nut"},
           {"--encoder-option", hostile + "=1", "in.mkv", "o.nut"},
           {"--input-option", hostile + "=1", "in.mkv", "o.nut"},
           {"--module", hostile, "in.mkv", "out.nut"},
           {"--hash", hostile + "/hash", "in.mkv", "out.nut"},
           {"--preview", hostile + ".png@9", "in.mkv", "out.mkv"},
           {"--inspect", hostile},
           {"--inspect", hostile, "--json"}}) {
    SCOPED_TRACE(testing::PrintToString(arguments));
    shown = show(arguments);
    EXPECT_GT(exitCode, 0);
    EXPECT_NE(shown.find("2J"), std::string::npos) << shown;
    expectHarmless(shown);
  }
}

TEST_F(Terminal, WhatFilesSay) {
  const std::string part = "--part\r\nContent-type: ";
  const std::string picture = "image/jpeg\r\nContent-length: 1\r\n\r\n.\r\n";
  program::writeFile(folder / "in.mjpeg", part + picture + part + hostile + "\r\n\r\n.");
  const std::string shown = show({"in.mjpeg", "out.nut"});
  EXPECT_EQ(exitCode, 1);
  EXPECT_NE(shown.find("Unexpected Content-type : " + escaped), std::string::npos) << shown;
  expectHarmless(shown);
}

TEST_F(Terminal, WhatModulesSay) {
  const std::string text = show({"--inspect", program::stub("hostile_text")});
  EXPECT_EQ(exitCode, 1);
  EXPECT_NE(text.find(R"(printed \x1b[2J\u{9b}\xff)"), std::string::npos) << text;
  EXPECT_NE(text.find(R"(not \x1b[2J\u{9b}\xff)"), std::string::npos) << text;
  expectHarmless(text);
  const std::string json = show({"--inspect", program::stub("hostile_text"), "--json"});
  EXPECT_NE(json.find(R"("printed \u001b[2J\u009b\ufffd")"), std::string::npos) << json;
  EXPECT_NE(json.find(R"(not \u001b[2J\u009b\ufffd")"), std::string::npos) << json;
  expectHarmless(json);
}

}  // namespace
