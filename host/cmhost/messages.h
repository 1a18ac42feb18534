#pragma once

#include <cstdint>
#include <string>

namespace cmhost {

/// One line on standard error, behind the program's name. Any thread.
void printWarning(const std::string& message);
void printError(const std::string& message);
void printNote(const std::string& message);

/// "1 frame", "2 frames".
std::string frameCount(std::int64_t frames);

/// "12.345 s"
std::string secondsText(double seconds);

}  // namespace cmhost
