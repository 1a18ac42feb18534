#include "host/cmhost/output/quality.h"

extern "C" {
#include <libavutil/avstring.h>
}

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "host/cmhost/support/failure.h"

namespace cmhost {

namespace {

constexpr const char* x264Presets =
    "ultrafast,superfast,veryfast,faster,fast,medium,slow,slower,veryslow,placebo";
constexpr const char* numbersTo8 = "0,1,2,3,4,5,6,7,8";
constexpr const char* numbersTo13 = "0,1,2,3,4,5,6,7,8,9,10,11,12,13";
constexpr const char* dnxhdProfiles = "dnxhd,dnxhr_lb,dnxhr_sq,dnxhr_hq,dnxhr_hqx,dnxhr_444";
constexpr const char* proresProfiles = "proxy,lt,standard,hq,4444,4444xq";

// An encoder's own keys. An empty one: the encoder has nothing like it.
struct Keys {
  const char* encoder;
  int worstCrf;           ///< 0: no --crf; otherwise its key is "crf", from 0
  bool hasBitrate;        ///< the key is "b"
  const char* presetKey;  ///< of the speed or, where the encoder has none, of the profile
  const char* presets;
  const char* losslessKey;
  const char* losslessValue;
  const char* threadsKey;  ///< in addition to the number that all encoders get
  const char* threadsOption;
};

// From this preset on, the encoder needs its mode for live video.
struct LiveMode {
  const char* encoder;
  int firstPreset;
  const char* key;
};

constexpr LiveMode liveModes[] = {
    {"libvpx-vp9", 6, "deadline"}, {"libvpx", 6, "deadline"}, {"libaom-av1", 7, "usage"}};

constexpr Keys allKeys[] = {
    {"libx264", 51, true, "preset", x264Presets, "qp", "0", "", ""},
    {"libx265", 51, true, "preset", x264Presets, "x265-params", "lossless=1", "x265-params",
     "pools"},
    {"libvpx-vp9", 63, true, "cpu-used", numbersTo8, "lossless", "1", "", ""},
    {"libvpx", 63, true, "cpu-used", numbersTo8, "", "", "", ""},
    {"libsvtav1", 63, true, "preset", numbersTo13, "", "", "svtav1-params", "lp"},
    {"libaom-av1", 63, true, "cpu-used", numbersTo8, "aom-params", "lossless=1", "", ""},
    {"prores_ks", 0, false, "profile", proresProfiles, "", "", "", ""},
    {"dnxhd", 0, true, "profile", dnxhdProfiles, "", "", "", ""},
};

bool isLossless(const AVCodec& encoder) {
  const AVCodecDescriptor* const descriptor = avcodec_descriptor_get(encoder.id);
  return descriptor != nullptr && (descriptor->props & AV_CODEC_PROP_LOSSLESS) != 0 &&
         (descriptor->props & AV_CODEC_PROP_LOSSY) == 0;
}

// Most other encoders, such as those of MPEG-2 and MPEG-4, follow a bit rate.
Keys keysOf(const AVCodec& encoder) {
  for (const Keys& each : allKeys)
    if (std::strcmp(each.encoder, encoder.name) == 0) return each;
  return {encoder.name, 0, !isLossless(encoder), "", "", "", "", "", ""};
}

// Numbers as a range, names with spaces between them.
std::string valuesText(const std::string& values) {
  if (values.rfind("0,", 0) == 0) return "0 to " + values.substr(values.rfind(',') + 1);
  std::string text = values;
  for (std::size_t at = 0; (at = text.find(',', at)) != std::string::npos; at += 2)
    text.insert(at + 1, " ");
  return text;
}

[[noreturn]] void refuse(const AVCodec& encoder, const std::string& option) {
  std::string has;
  for (const QualityOption& each : qualityOptionsOf(encoder))
    has += (has.empty() ? "" : ", ") + each.name;
  throw Failure(std::string("the encoder ") + encoder.name + " has no " + option + "; it has " +
                    (has.empty() ? "no such options" : has) +
                    (option == "--lossless" ? "; FFV1 in Matroska, libx264, libx265 and "
                                              "libvpx-vp9 can be lossless"
                                            : "; see cmhost --list-encoders"),
                exitUsage);
}

std::string shortest(double number) {
  char text[32];
  std::snprintf(text, sizeof text, "%g", number);
  return text;
}

void addCrf(const AVCodec& encoder, int worst, double crf, Options::KeyValues& to) {
  if (worst == 0) refuse(encoder, "--crf");
  if (crf > worst)
    throw Failure("--crf: the encoder " + std::string(encoder.name) + " takes 0 to " +
                      std::to_string(worst) + ", not " + shortest(crf),
                  exitUsage);
  const bool takesFractions = worst == 51;
  if (!takesFractions && crf != std::floor(crf))
    throw Failure("--crf: the encoder " + std::string(encoder.name) + " takes whole numbers, not " +
                      shortest(crf),
                  exitUsage);
  to.emplace_back("crf", shortest(crf));
}

void addPreset(const AVCodec& encoder, const Keys& keys, const std::string& preset,
               Options::KeyValues& to) {
  if (*keys.presetKey == '\0') refuse(encoder, "--preset");
  if (preset.find(',') != std::string::npos ||
      av_match_list(preset.c_str(), keys.presets, ',') == 0)
    throw Failure("--preset: the encoder " + std::string(encoder.name) + " has no '" + preset +
                      "'; it has " + valuesText(keys.presets),
                  exitUsage);
  to.emplace_back(keys.presetKey, preset);
  for (const LiveMode& each : liveModes)
    if (std::strcmp(each.encoder, encoder.name) == 0 && std::stoi(preset) >= each.firstPreset)
      to.emplace_back(each.key, "realtime");
}

void addLossless(const AVCodec& encoder, const Keys& keys, Options::KeyValues& to) {
  if (isLossless(encoder)) return;
  if (*keys.losslessKey == '\0') refuse(encoder, "--lossless");
  to.emplace_back(keys.losslessKey, keys.losslessValue);
}

}  // namespace

std::vector<QualityOption> qualityOptionsOf(const AVCodec& encoder) {
  const Keys keys = keysOf(encoder);
  std::vector<QualityOption> options;
  if (keys.worstCrf > 0) options.push_back({"--crf", "0 to " + std::to_string(keys.worstCrf)});
  if (keys.hasBitrate) options.push_back({"--bitrate", ""});
  if (*keys.presetKey != '\0') options.push_back({"--preset", valuesText(keys.presets)});
  if (*keys.losslessKey != '\0' || isLossless(encoder))
    options.push_back({"--lossless", isLossless(encoder) ? "always" : ""});
  return options;
}

Options::KeyValues encoderOptionsFor(const AVCodec& encoder, const Options& options) {
  const Keys keys = keysOf(encoder);
  Options::KeyValues result;
  if (options.crf) addCrf(encoder, keys.worstCrf, *options.crf, result);
  if (options.bitrate > 0 && !keys.hasBitrate) refuse(encoder, "--bitrate");
  if (options.bitrate > 0) result.emplace_back("b", std::to_string(options.bitrate));
  if (options.preset) addPreset(encoder, keys, *options.preset, result);
  if (options.lossless) addLossless(encoder, keys, result);
  if (options.threads > 0 && *keys.threadsKey != '\0')
    result.emplace_back(keys.threadsKey,
                        std::string(keys.threadsOption) + "=" + std::to_string(options.threads));
  return result;
}

}  // namespace cmhost
