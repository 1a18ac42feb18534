#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace cmhost {

/// Prints one line on standard error, after the program's name. The message is `escaped`. Any
/// thread.
void printWarning(const std::string& message);
void printError(const std::string& message);
void printNote(const std::string& message);

/// The warnings printed so far, not escaped; at most a thousand.
std::vector<std::string> printedWarnings();

/// Prints a requested result on standard output, unchanged. Throws `Failure` unless all of it is
/// written.
void printResult(const std::string& text);

/// Makes `text` safe for a terminal: control characters, characters that change the direction of
/// text or separate lines, and bytes that are not valid UTF-8 are replaced by \xNN or \u{NNNN}. The
/// result is one line of UTF-8.
std::string escaped(const std::string& text);

/// "1 frame", "2 frames".
std::string framesText(std::int64_t frames);

/// "12.345 s"
std::string secondsText(double seconds);

}  // namespace cmhost
