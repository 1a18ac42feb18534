#include "host/cmhost/av.h"

#include <cstdarg>
#include <cstdio>
#include <mutex>

namespace cmhost {

namespace {

std::mutex logMutex;
std::string lastLoggedError;

void keepError(void* source, int level, const char* format, va_list arguments) {
  if (level > AV_LOG_ERROR) return;
  char text[512];
  std::vsnprintf(text, sizeof text, format, arguments);
  std::string line(text);
  while (!line.empty() && (line.back() == '\n' || line.back() == ' ' || line.back() == '.'))
    line.pop_back();
  if (line.empty()) return;
  const AVClass* const kind = source != nullptr ? *static_cast<AVClass**>(source) : nullptr;
  if (kind != nullptr) line.insert(0, std::string(kind->item_name(source)) + ": ");
  const std::lock_guard<std::mutex> lock(logMutex);
  lastLoggedError = line;
}

}  // namespace

std::string avErrorText(int error) {
  char text[AV_ERROR_MAX_STRING_SIZE] = "";
  av_strerror(error, text, sizeof text);
  return text;
}

void captureAvLog() { av_log_set_callback(keepError); }

std::string avErrorReason(int error) {
  const std::lock_guard<std::mutex> lock(logMutex);
  std::string reason = avErrorText(error);
  if (!lastLoggedError.empty()) reason += " (" + lastLoggedError + ")";
  lastLoggedError.clear();
  return reason;
}

}  // namespace cmhost
