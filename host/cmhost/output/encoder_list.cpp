#include "host/cmhost/output/encoder_list.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <cstring>
#include <sstream>
#include <vector>

#include "host/cmhost/output/encoder_choice.h"
#include "host/cmhost/output/quality.h"
#include "host/cmhost/picture/picture_layout.h"
#include "host/cmhost/support/av_versions.h"

namespace cmhost {

namespace {

constexpr std::size_t textWidth = 78;
constexpr std::size_t nameWidth = 12;

// By the extension of the output.
constexpr const char* containers[] = {"mp4", "mov", "mkv", "webm", "ts",  "mpg", "avi",
                                      "mxf", "flv", "ogv", "wmv",  "nut", "y4m"};

bool isUsable(const AVCodec& encoder) {
  constexpr int notUsable = AV_CODEC_CAP_HARDWARE | AV_CODEC_CAP_HYBRID | AV_CODEC_CAP_EXPERIMENTAL;
  if (av_codec_is_encoder(&encoder) == 0 || encoder.type != AVMEDIA_TYPE_VIDEO ||
      (encoder.capabilities & notUsable) != 0 || encoder.id == AV_CODEC_ID_WRAPPED_AVFRAME ||
      std::strstr(encoder.name, "_omx") != nullptr)  // does not declare that it needs hardware
    return false;
  const AVPixelFormat* format = pixelFormatsOf(encoder);
  if (format == nullptr) return true;
  for (; *format != AV_PIX_FMT_NONE; ++format)
    if (layoutOf(*format) != nullptr) return true;
  return false;
}

std::vector<const AVCodec*> usableEncoders() {
  std::vector<const AVCodec*> encoders;
  void* state = nullptr;
  while (const AVCodec* const codec = av_codec_iterate(&state))
    if (isUsable(*codec)) encoders.push_back(codec);
  return encoders;
}

// Breaks between words; further lines are indented like the first one.
void print(std::ostream& to, const std::string& name, const std::string& words) {
  std::string line =
      "  " + name + std::string(nameWidth > name.size() ? nameWidth - name.size() : 1, ' ');
  const std::string indent(2 + nameWidth, ' ');
  std::istringstream all(words);
  bool isFirst = true;
  for (std::string word; all >> word; isFirst = false) {
    if (line.size() + 1 + word.size() > textWidth) {
      to << line << '\n';
      line = indent;
      isFirst = true;
    }
    line += (isFirst ? "" : " ") + word;
  }
  to << line << '\n';
}

std::string encodersIn(const AVOutputFormat& container,
                       const std::vector<const AVCodec*>& encoders) {
  const AVCodec* const own = defaultEncoder(container, AV_CODEC_ID_NONE, false);
  std::string names = own != nullptr ? std::string(own->name) + " (default)" : "";
  for (const AVCodec* const encoder : encoders)
    if (encoder != own && holds(container, encoder->id, FF_COMPLIANCE_NORMAL))
      names += (names.empty() ? "" : ", ") + std::string(encoder->name);
  return names;
}

std::string optionsOf(const AVCodec& encoder) {
  std::string text;
  for (const QualityOption& option : qualityOptionsOf(encoder))
    text += (text.empty() ? "" : "; ") + option.name +
            (option.values.empty() ? "" : " (" + option.values + ")");
  return text;
}

}  // namespace

std::string encoderList() {
  const std::vector<const AVCodec*> encoders = usableEncoders();
  std::ostringstream text;
  text << "Encoders by container:\n";
  for (const char* const extension : containers)
    if (const AVOutputFormat* const container =
            av_guess_format(nullptr, (std::string("out.") + extension).c_str(), nullptr))
      print(text, extension, encodersIn(*container, encoders));
  text << "\nOptions of the encoders, in addition to --threads and --encoder-option:\n";
  for (const AVCodec* const encoder : encoders) print(text, encoder->name, optionsOf(*encoder));
  return text.str();
}

}  // namespace cmhost
