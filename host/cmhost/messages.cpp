#include "host/cmhost/messages.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace cmhost {

namespace {

// One write a line, so that lines of several threads and processes do not mix. On a terminal the
// line takes the place of a progress line.
void printLine(const std::string& kind, std::string message) {
  std::replace(message.begin(), message.end(), '\n', ' ');
  const char* const clear = ::isatty(STDERR_FILENO) != 0 ? "\r\x1b[K" : "";
  const std::string line = clear + ("cmhost: " + kind) + message + "\n";
  std::fwrite(line.data(), 1, line.size(), stderr);
}

}  // namespace

void printWarning(const std::string& message) { printLine("warning: ", message); }
void printError(const std::string& message) { printLine("error: ", message); }
void printNote(const std::string& message) { printLine("", message); }

std::string frameCount(std::int64_t frames) {
  return std::to_string(frames) + (frames == 1 ? " frame" : " frames");
}

std::string secondsText(double seconds) {
  char text[64];
  std::snprintf(text, sizeof text, "%.3f s", seconds);
  return text;
}

}  // namespace cmhost
