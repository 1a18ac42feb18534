#include "host/cmhost/source.h"

namespace cmhost {

std::string streamText(const AVStream& stream) {
  const char* const kind = av_get_media_type_string(stream.codecpar->codec_type);
  return "stream " + std::to_string(stream.index) + " (" + (kind != nullptr ? kind : "unknown") +
         ", " + avcodec_get_name(stream.codecpar->codec_id) + ")";
}

}  // namespace cmhost
