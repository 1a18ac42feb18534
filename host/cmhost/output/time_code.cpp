#include "host/cmhost/output/time_code.h"

extern "C" {
#include <libavutil/avstring.h>
#include <libavutil/timecode.h>
}

#include <cstdint>

namespace cmhost {

namespace {

constexpr const char* key = "timecode";

}  // namespace

// A time code counts frames.
void shiftTimeCode(const Source& source, AVDictionary*& metadata) {
  const AVDictionaryEntry* const entry = av_dict_get(metadata, key, nullptr, 0);
  if (entry == nullptr || source.shift == 0 || source.frameRate.num <= 0) return;
  AVTimecode timeCode;
  if (av_timecode_init_from_string(&timeCode, source.frameRate, entry->value, nullptr) < 0) return;
  const std::int64_t frames =
      av_rescale_q(source.shift, av_get_time_base_q(), av_inv_q(source.frameRate));
  char text[AV_TIMECODE_STR_SIZE];
  av_timecode_make_string(&timeCode, text, static_cast<int>(frames));
  av_dict_set(&metadata, key, text, 0);
}

bool writesTimeCode(const AVOutputFormat& container, const AVStream& video, const AVStream& from) {
  static constexpr const char* containers = "mov,mp4,mxf,matroska,webm,nut";
  return av_match_name(container.name, containers) != 0 &&
         from.codecpar->codec_tag == MKTAG('t', 'm', 'c', 'd') &&
         av_dict_get(video.metadata, key, nullptr, 0) != nullptr;
}

}  // namespace cmhost
