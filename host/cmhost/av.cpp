#include "host/cmhost/av.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <utility>

namespace cmhost {

namespace {

std::mutex logMutex;
std::string lastLoggedError;
std::string loggedDamage;

AVClassCategory categoryOf(const AVClass& kind, void* source) {
  return kind.get_category != nullptr ? kind.get_category(source) : kind.category;
}

bool meansDamage(const AVClass& kind, void* source) {
  switch (categoryOf(kind, source)) {
    case AV_CLASS_CATEGORY_DEMUXER:
      return true;
    case AV_CLASS_CATEGORY_DECODER:
      return std::strcmp(kind.item_name(source), "ffv1") == 0;  // others mark the frame
    default:
      return false;
  }
}

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
  if (kind != nullptr && meansDamage(*kind, source)) loggedDamage = line;
}

}  // namespace

void captureAvLog() { av_log_set_callback(keepError); }

std::string takeLoggedDamage() {
  const std::lock_guard<std::mutex> lock(logMutex);
  return std::exchange(loggedDamage, {});
}

std::string avErrorReason(int error) {
  const std::lock_guard<std::mutex> lock(logMutex);
  char text[AV_ERROR_MAX_STRING_SIZE] = "";
  av_strerror(error, text, sizeof text);
  std::string reason = text;
  if (!lastLoggedError.empty()) reason += " (" + lastLoggedError + ")";
  lastLoggedError.clear();
  return reason;
}

}  // namespace cmhost
