#include "host/cmhost/support/av_log.h"

extern "C" {
#include <libavutil/error.h>
}

#include <cstdarg>
#include <cstdio>
#include <mutex>

#include "host/cmhost/support/threads.h"

namespace cmhost {

namespace {

std::mutex logMutex;
std::string lastError;
AvLogListener* listener = nullptr;
thread_local AvErrorScope* errorScope = nullptr;

AVClassCategory categoryOf(const AVClass& kind, void* source) {
  return kind.get_category != nullptr ? kind.get_category(source) : kind.category;
}

std::string nameOf(const AVClass& kind, void* source) {
  const char* name = kind.item_name != nullptr ? kind.item_name(source) : kind.class_name;
  return name != nullptr ? name : "";
}

void keepLog(void* source, int level, const char* format, va_list arguments) {
  const std::lock_guard<std::mutex> lock(logMutex);
  AvLogLine line;
  line.level = level;
  line.isDetail = listener != nullptr && listener->isDetail(format);
  if (level > AV_LOG_WARNING && !line.isDetail) return;
  const AVClass* const kind = source != nullptr ? *static_cast<AVClass**>(source) : nullptr;
  if (kind != nullptr) line.category = categoryOf(*kind, source);

  char text[512];
  std::vsnprintf(text, sizeof text, format, arguments);
  line.text = text;
  const std::size_t end = line.text.find_last_not_of("\n .");
  line.text.resize(end == std::string::npos ? 0 : end + 1);
  if (line.text.empty()) return;
  const std::string name = kind != nullptr ? nameOf(*kind, source) : std::string();
  if (!name.empty()) line.text.insert(0, name + ": ");
  if (level <= AV_LOG_ERROR) lastError = line.text;
  if (errorScope != nullptr) {
    if (level <= AV_LOG_ERROR) errorScope->add(line.text);
    return;
  }
  if (listener != nullptr) listener->logged(line);
}

}  // namespace

void captureAvLog() { av_log_set_callback(keepLog); }

AvLogListener::AvLogListener() {
  const std::lock_guard<std::mutex> lock(logMutex);
  listener = this;
}

AvLogListener::~AvLogListener() { stopListening(); }

void AvLogListener::stopListening() {
  const std::lock_guard<std::mutex> lock(logMutex);
  if (listener == this) listener = nullptr;
}

AvErrorScope::AvErrorScope() { errorScope = this; }

AvErrorScope::~AvErrorScope() { errorScope = nullptr; }

void AvErrorScope::add(const std::string& text) {
  if (first_.empty()) first_ = text;
}

std::string avErrorReason(int error) {
  const std::lock_guard<std::mutex> lock(logMutex);
  char text[AV_ERROR_MAX_STRING_SIZE] = "";
  av_strerror(error, text, sizeof text);
  std::string reason = text;
  if (!lastError.empty()) reason += " (" + lastError + ")";
  lastError.clear();
  return reason;
}

std::string openErrorReason(int error) {
  std::string reason = avErrorReason(error);
  if (error == AVERROR(EAGAIN)) return "cannot start a thread: " + reason + "; " + threadLimits;
  if (error == AVERROR_EXTERNAL)
    return reason + "; if no other cause is given, it cannot start a thread: " + threadLimits;
  return reason;
}

}  // namespace cmhost
