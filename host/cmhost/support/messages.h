#pragma once

#include <cstdint>
#include <string>

namespace cmhost {

/// One line on standard error, behind the program's name. The message is printed `escaped`. Any
/// thread.
void printWarning(const std::string& message);
void printError(const std::string& message);
void printNote(const std::string& message);

/// What was asked for, on standard output, unchanged. Throws `Failure` unless all of it is written.
void printResult(const std::string& text);

/// `text` without anything that a terminal would act on: control characters, characters that turn
/// the direction of text or separate lines, and bytes that are not UTF-8, are written as \xNN or
/// \u{NNNN}. The result is UTF-8 and one line.
std::string escaped(const std::string& text);

/// "1 frame", "2 frames".
std::string framesText(std::int64_t frames);

/// "12.345 s"
std::string secondsText(double seconds);

}  // namespace cmhost
