#include "host/cmhost/support/messages.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <mutex>
#include <string_view>

#include "host/cmhost/support/failure.h"
#include "host/cmhost/support/file_io.h"

namespace cmhost {

namespace {

template <typename Number>
std::string formatted(const char* format, Number number) {
  char text[64];
  std::snprintf(text, sizeof text, format, number);
  return text;
}

// A character, or a byte that is not part of a valid character.
struct Character {
  std::string_view bytes;
  char32_t code;
  bool isValid;
};

struct Utf8Lead {
  unsigned char first, last;              // range of the leading byte
  unsigned char lowestNext, highestNext;  // range of the second byte
  std::size_t bytes;
};

// The range of the second byte excludes overlong forms, surrogates and codes above U+10FFFF.
constexpr Utf8Lead utf8Leads[] = {
    {0x00, 0x7f, 0, 0, 1},       {0xc2, 0xdf, 0x80, 0xbf, 2}, {0xe0, 0xe0, 0xa0, 0xbf, 3},
    {0xe1, 0xec, 0x80, 0xbf, 3}, {0xed, 0xed, 0x80, 0x9f, 3}, {0xee, 0xef, 0x80, 0xbf, 3},
    {0xf0, 0xf0, 0x90, 0xbf, 4}, {0xf1, 0xf3, 0x80, 0xbf, 4}, {0xf4, 0xf4, 0x80, 0x8f, 4},
};

Character firstCharacter(std::string_view text) {
  const auto byte = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const Character invalid = {text.substr(0, 1), byte(0), false};
  for (const Utf8Lead& lead : utf8Leads) {
    if (byte(0) < lead.first || byte(0) > lead.last) continue;
    if (text.size() < lead.bytes) return invalid;
    char32_t code = lead.bytes == 1 ? byte(0) : byte(0) & (0x7fU >> lead.bytes);
    for (std::size_t i = 1; i < lead.bytes; ++i) {
      const unsigned char lowest = i == 1 ? lead.lowestNext : 0x80;
      const unsigned char highest = i == 1 ? lead.highestNext : 0xbf;
      if (byte(i) < lowest || byte(i) > highest) return invalid;
      code = code << 6 | (byte(i) & 0x3fU);
    }
    return {text.substr(0, lead.bytes), code, true};
  }
  return invalid;
}

constexpr bool isBetween(char32_t code, char32_t first, char32_t last) {
  return code >= first && code <= last;
}

bool isControl(char32_t code) {
  return code < 0x20 || isBetween(code, 0x7f, 0x9f) ||         // C0, DEL, C1
         isBetween(code, 0x2028, 0x2029) ||                    // line and paragraph separators
         code == 0x061c || isBetween(code, 0x200e, 0x200f) ||  // direction marks
         isBetween(code, 0x202a, 0x202e) || isBetween(code, 0x2066, 0x2069);  // overrides, isolates
}

// `escape` returns the replacement of a control character or an invalid byte.
template <typename Escape>
std::string replaceControls(std::string_view text, Escape escape) {
  std::string result;
  while (!text.empty()) {
    const Character character = firstCharacter(text);
    if (character.isValid && !isControl(character.code))
      result += character.bytes;
    else
      result += escape(character);
    text.remove_prefix(character.bytes.size());
  }
  return result;
}

// One write per line, so that lines of several threads and processes do not mix. On a terminal, the
// line replaces the progress line.
void printLine(const std::string& kind, const std::string& message) {
  const char* const clear = ::isatty(STDERR_FILENO) != 0 ? "\r\x1b[K" : "";
  const std::string line = clear + ("cmhost: " + kind) + escaped(message) + "\n";
  std::fwrite(line.data(), 1, line.size(), stderr);
}

std::mutex warningsMutex;
std::vector<std::string> warnings;
constexpr std::size_t mostWarnings = 1000;

}  // namespace

std::vector<std::string> printedWarnings() {
  const std::lock_guard<std::mutex> lock(warningsMutex);
  return warnings;
}

void printWarning(const std::string& message) {
  {
    const std::lock_guard<std::mutex> lock(warningsMutex);
    if (warnings.size() < mostWarnings) warnings.push_back(message);
  }
  printLine("warning: ", message);
}
void printError(const std::string& message) { printLine("error: ", message); }
void printNote(const std::string& message) { printLine("", message); }

void printResult(const std::string& text) {
  for (std::string_view left = text; !left.empty();) {
    const ssize_t written = ::write(STDOUT_FILENO, left.data(), left.size());
    if (written >= 0) {
      left.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno == EAGAIN) {
      pollfd wait = {STDOUT_FILENO, POLLOUT, 0};
      ::poll(&wait, 1, -1);
    } else if (errno != EINTR) {
      throw Failure("standard output: cannot write: " + systemText(errno));
    }
  }
}

std::string escaped(const std::string& text) {
  return replaceControls(text, [](const Character& character) {
    const auto code = static_cast<unsigned int>(character.code);
    return formatted(character.isValid && code >= 0x80 ? "\\u{%x}" : "\\x%02x", code);
  });
}

std::string framesText(std::int64_t frames) {
  return std::to_string(frames) + (frames == 1 ? " frame" : " frames");
}

std::string secondsText(double seconds) { return formatted("%.3f s", seconds); }

}  // namespace cmhost
