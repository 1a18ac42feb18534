#include "host/cmhost/output/encoder_defaults.h"

extern "C" {
#include <libavutil/avstring.h>
#include <libavutil/eval.h>
}

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>

#include "host/cmhost/output/quality.h"

namespace cmhost {

namespace {

struct DefaultOption {
  const char* encoder;
  const char* key;
  const char* value;
  const char* removedBy = "";  ///< user options that conflict with it
  const char* least = "";      ///< user option that sets its minimum
  const char* most = "";       ///< user option that sets its maximum
};

// Defaults of better quality than the encoders' own: lossless or visually clean video, and FFV1 as
// used by archives, with key frames only and checksums. A rate, quality or quantiser set by the
// user replaces the default. With crf, the encoders of VP8 and VP9 also need a rate: the limit, or
// 0 for none. The speeds for VP9 and AV1 are several times those of the encoders' own defaults.
constexpr DefaultOption defaultOptions[] = {
    {"ffv1", "level", "3"},
    {"ffv1", "slicecrc", "1"},
    {"ffv1", "g", "1"},
    {"libx264", "crf", "18", "b,qp"},
    {"libx265", "crf", "18", "b,qp"},
    {"libvpx-vp9", "crf", "20", "b,lossless", "qmin", "qmax"},
    {"libvpx-vp9", "b", "0", "", "minrate", "maxrate"},
    {"libvpx-vp9", "cpu-used", "4", "speed"},
    {"libvpx-vp9", "row-mt", "1"},
    {"libvpx", "crf", "10", "b", "qmin", "qmax"},
    {"libvpx", "b", "20M", "", "minrate", "maxrate"},
    {"libsvtav1", "crf", "25", "b,qp"},
    {"libsvtav1", "preset", "8"},
    {"libaom-av1", "crf", "25", "b"},
    {"libaom-av1", "cpu-used", "6"},
    {"libaom-av1", "row-mt", "1"},
    {"dnxhd", "profile", "dnxhr_hq", "b"},
    {"mpeg4", "b", "20M", "", "minrate", "maxrate"},
    {"mpeg2video", "b", "20M", "", "minrate", "maxrate"},
    {"mpeg1video", "b", "10M", "", "minrate", "maxrate"},
    {"mjpeg", "b", "60M", "", "minrate", "maxrate"},
};

// The FFV1 encoder cannot divide very small pictures into slices, or writes wrong pixels. Level 1
// has no slices.
constexpr int shortestSideWithSlices = 8;

bool isContradicted(const DefaultOption& option, const Options::KeyValues& named) {
  return std::any_of(named.begin(), named.end(), [&option](const auto& each) {
    return av_match_name(each.first.c_str(), option.removedBy) != 0;
  });
}

// Encoders treat zero and negative limits as none.
std::optional<double> limitIn(const Options::KeyValues& named, const char* key) {
  std::optional<double> limit;
  for (const auto& [name, value] : named) {
    if (name != key) continue;
    char* end = nullptr;
    const double number = av_strtod(value.c_str(), &end);
    limit.reset();
    if (*end == '\0' && number > 0) limit = number;
  }
  return limit;
}

std::string withinLimits(const DefaultOption& option, const Options::KeyValues& named) {
  const std::optional<double> least = limitIn(named, option.least);
  const std::optional<double> most = limitIn(named, option.most);
  const double usual = av_strtod(option.value, nullptr);
  double value = usual;
  if (least && usual > 0) value = std::max(value, *least);
  if (most && (value > *most || usual == 0)) value = *most;
  return value == usual ? option.value : std::to_string(static_cast<std::int64_t>(value));
}

// Keys such as x265-params contain several parameters.
void add(const std::string& key, const std::string& value, Dictionary& dictionary) {
  constexpr const char* ending = "-params";
  const std::size_t at = key.rfind(ending);
  const bool isList = at != std::string::npos && at + std::strlen(ending) == key.size();
  const std::string before = isList ? dictionary.value(key.c_str()) : "";
  dictionary.set(key.c_str(), (before.empty() ? value : before + ":" + value).c_str());
}

// This encoder prints a banner itself, not through the media library's log.
void silence(const AVCodec& encoder, Dictionary& dictionary) {
  if (std::strcmp(encoder.name, "libx265") == 0) dictionary.set("x265-params", "log-level=error");
}

}  // namespace

void setEncoderOptions(const AVCodec& encoder, const Options& options, int shorterSide,
                       Dictionary& dictionary) {
  Options::KeyValues named = encoderOptionsFor(encoder, options);
  named.insert(named.end(), options.encoderOptions.begin(), options.encoderOptions.end());
  for (const DefaultOption& option : defaultOptions)
    if (std::strcmp(option.encoder, encoder.name) == 0 && !isContradicted(option, named))
      dictionary.set(option.key, withinLimits(option, named).c_str());
  if (std::strcmp(encoder.name, "ffv1") == 0 && shorterSide < shortestSideWithSlices) {
    dictionary.set("level", "1");
    dictionary.set("slicecrc", "0");
  }
  silence(encoder, dictionary);
  for (const auto& [key, value] : named) add(key, value, dictionary);
}

}  // namespace cmhost
