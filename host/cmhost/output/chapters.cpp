#include "host/cmhost/output/chapters.h"

extern "C" {
#include <libavutil/avstring.h>
}

#include <algorithm>
#include <new>

namespace cmhost {

void copyChapters(const Source& source, AVFormatContext& to) {
  const AVFormatContext& from = source.format;
  if (from.nb_chapters == 0) return;
  to.chapters = static_cast<AVChapter**>(av_calloc(from.nb_chapters, sizeof(AVChapter*)));
  if (to.chapters == nullptr) throw std::bad_alloc();
  for (unsigned int i = 0; i < from.nb_chapters; ++i) {
    const AVChapter& each = *from.chapters[i];
    const std::int64_t shift = av_rescale_q(source.shift, av_get_time_base_q(), each.time_base);
    const std::int64_t start = each.start - shift;
    const std::int64_t end = each.end != AV_NOPTS_VALUE ? each.end - shift : each.end;
    if (source.shift > 0 && end != AV_NOPTS_VALUE && end <= 0) continue;
    auto* const chapter = static_cast<AVChapter*>(av_mallocz(sizeof(AVChapter)));
    if (chapter == nullptr) throw std::bad_alloc();
    *chapter = each;
    chapter->start = source.shift > 0 ? std::max<std::int64_t>(start, 0) : start;
    chapter->end = end;
    chapter->metadata = nullptr;
    av_dict_copy(&chapter->metadata, each.metadata, 0);
    to.chapters[to.nb_chapters++] = chapter;
  }
}

void cutChapters(AVFormatContext& format, std::int64_t end, AVRational timeBase) {
  unsigned int kept = 0;
  for (unsigned int i = 0; i < format.nb_chapters; ++i) {
    AVChapter* chapter = format.chapters[i];
    const std::int64_t last = av_rescale_q(end, timeBase, chapter->time_base);
    if (chapter->start < last) {
      if (chapter->end == AV_NOPTS_VALUE || chapter->end > last) chapter->end = last;
      format.chapters[kept++] = chapter;
    } else {
      av_dict_free(&chapter->metadata);
      av_freep(&chapter);
    }
  }
  format.nb_chapters = kept;
}

// Matroska's reader finds chapters after the video only by an index that is written by seeking.
bool storesChaptersLast(const AVOutputFormat& container, bool seekable) {
  return seekable && av_match_name(container.name, "mov,mp4,ipod,matroska,webm") != 0;
}

bool writesChapters(const AVOutputFormat& container, const AVFormatContext& from,
                    const AVStream& stream) {
  static constexpr const char* containers = "mov,mp4,ipod,matroska,webm,nut,asf";
  return av_match_name(container.name, containers) != 0 && from.nb_chapters > 0 &&
         stream.codecpar->codec_type == AVMEDIA_TYPE_DATA &&
         stream.codecpar->codec_tag == MKTAG('t', 'e', 'x', 't');
}

}  // namespace cmhost
