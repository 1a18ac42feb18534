#include "host/cmhost/output/still_pictures.h"

#include <cstring>

#include "host/cmhost/support/failure.h"

namespace cmhost {

bool isStillOutput(const std::string& output, const std::string& formatName) {
  if (!formatName.empty()) return formatName == "image2";
  const AVOutputFormat* const format = av_guess_format(nullptr, output.c_str(), nullptr);
  return format != nullptr && std::strcmp(format->name, "image2") == 0;
}

const AVOutputFormat& stillContainer() {
  const AVOutputFormat* const format = av_guess_format("image2pipe", nullptr, nullptr);
  if (format == nullptr) throw Failure("this libavformat has no muxer for still pictures");
  return *format;
}

AVCodecID stillCodec(const std::string& output) {
  return av_guess_codec(&stillContainer(), nullptr, output.c_str(), nullptr, AVMEDIA_TYPE_VIDEO);
}

}  // namespace cmhost
