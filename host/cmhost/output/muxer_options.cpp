#include "host/cmhost/output/muxer_options.h"

extern "C" {
#include <libavutil/avstring.h>
}

#include <string>

namespace cmhost {

void setMuxerOptions(const AVOutputFormat& container, bool seekable,
                     const Options::KeyValues& named, Dictionary& dictionary) {
  constexpr const char* flagsKey = "movflags";
  if (av_match_name(container.name, "mp4,mov,ipod,psp,3gp,3g2,f4v") != 0)
    dictionary.set(flagsKey, seekable ? "faststart" : "frag_keyframe+delay_moov+default_base_moof");
  for (const auto& [key, value] : named) {
    // Flags with a sign change the flags so far.
    const bool changes = key == flagsKey && !value.empty() && (value[0] == '+' || value[0] == '-');
    const std::string before = changes ? dictionary.value(flagsKey) : "";
    dictionary.set(key.c_str(), (before + value).c_str());
  }
}

void setCodecTag(const AVOutputFormat& container, AVCodecParameters& video) {
  if (video.codec_id == AV_CODEC_ID_HEVC && av_match_name(container.name, "mp4,mov") != 0)
    video.codec_tag = MKTAG('h', 'v', 'c', '1');
}

}  // namespace cmhost
