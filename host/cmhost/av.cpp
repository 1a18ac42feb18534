#include "host/cmhost/av.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <utility>

namespace cmhost {

namespace {

std::mutex logMutex;
std::string lastError;
std::string demuxerDamage;
std::string decoderDamage;

AVClassCategory categoryOf(const AVClass& kind, void* source) {
  return kind.get_category != nullptr ? kind.get_category(source) : kind.category;
}

std::string nameOf(const AVClass& kind, void* source) {
  const char* name = kind.item_name != nullptr ? kind.item_name(source) : kind.class_name;
  return name != nullptr ? name : "";
}

bool startsWith(const char* text, const char* start) {
  return std::strncmp(text, start, std::strlen(start)) == 0;
}

// Decoders mark a picture that they repaired, but with a thread for each frame the mark may come
// after the frame; and FFV1 has none for a slice whose checksum fails.
bool isRepair(const AVClass& kind, void* source, int level, const char* format) {
  return startsWith(format, "concealing ") ||
         (level <= AV_LOG_ERROR && nameOf(kind, source) == "ffv1");
}

void keepLog(void* source, int level, const char* format, va_list arguments) {
  const AVClass* const kind = source != nullptr ? *static_cast<AVClass**>(source) : nullptr;
  const AVClassCategory category =
      kind != nullptr ? categoryOf(*kind, source) : AV_CLASS_CATEGORY_NA;
  const bool repair =
      category == AV_CLASS_CATEGORY_DECODER && isRepair(*kind, source, level, format);
  if (level > AV_LOG_ERROR && !repair) return;

  char text[512];
  std::vsnprintf(text, sizeof text, format, arguments);
  std::string line(text);
  const std::size_t end = line.find_last_not_of("\n .");
  line.resize(end == std::string::npos ? 0 : end + 1);
  if (line.empty()) return;
  const std::string name = kind != nullptr ? nameOf(*kind, source) : std::string();
  if (!name.empty()) line.insert(0, name + ": ");
  const std::lock_guard<std::mutex> lock(logMutex);
  if (level <= AV_LOG_ERROR) lastError = line;
  // The first word on a matter says most.
  if (repair && decoderDamage.empty()) decoderDamage = line;
  if (category == AV_CLASS_CATEGORY_DEMUXER && demuxerDamage.empty()) demuxerDamage = line;
}

}  // namespace

void captureAvLog() { av_log_set_callback(keepLog); }

std::string takeDemuxerDamage() {
  const std::lock_guard<std::mutex> lock(logMutex);
  return std::exchange(demuxerDamage, {});
}

std::string takeDecoderDamage() {
  const std::lock_guard<std::mutex> lock(logMutex);
  return std::exchange(decoderDamage, {});
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

}  // namespace cmhost
