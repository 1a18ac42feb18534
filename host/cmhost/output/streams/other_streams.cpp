#include "host/cmhost/output/streams/other_streams.h"

#include "host/cmhost/output/chapters.h"
#include "host/cmhost/output/streams/container_support.h"
#include "host/cmhost/output/streams/copied_stream.h"
#include "host/cmhost/output/time_code.h"
#include "host/cmhost/support/messages.h"

namespace cmhost {

namespace {

std::string streamText(const AVStream& stream) {
  const char* const kind = av_get_media_type_string(stream.codecpar->codec_type);
  return "stream " + std::to_string(stream.index) + " (" + (kind != nullptr ? kind : "unknown") +
         ", " + avcodec_get_name(stream.codecpar->codec_id) + ")";
}

bool canCopy(const AVStream& from, const AVFormatContext& format) {
  return supports(*format.oformat, *from.codecpar) &&
         acceptsHeaderWith(format, [&from](AVFormatContext& copy) { addCopyOf(from, copy); });
}

}  // namespace

void OtherStreams::addAll(const Source& source) {
  const AVFormatContext& from = source.format;
  tracks_.resize(from.nb_streams);
  for (unsigned int i = 0; i < from.nb_streams; ++i) {
    const AVStream& stream = *from.streams[i];
    if (&stream != &source.video &&
        !writesTimeCode(*format_.oformat, *format_.streams[0], stream) &&
        !writesChapters(*format_.oformat, from, stream)) {
      tracks_[i] = trackFor(stream);
      if (tracks_[i] == nullptr) leftOut_.push_back(stream.index);
    }
  }
}

std::unique_ptr<Track> OtherStreams::trackFor(const AVStream& from) {
  if (!canCopy(from, format_)) {
    printWarning(streamText(from) + " is not copied: the container '" + format_.oformat->name +
                 "' does not support it");
    return nullptr;
  }
  if (from.codecpar->codec_type == AVMEDIA_TYPE_VIDEO &&
      (from.disposition & AV_DISPOSITION_ATTACHED_PIC) == 0)
    printWarning(streamText(from) + " is copied without the mark: only one video stream is marked");
  return std::make_unique<CopiedStream>(from, format_, writer_);
}

void OtherStreams::add(const AVPacket& packet) {
  // Streams found after the header was written cannot be added.
  const auto index = static_cast<std::size_t>(packet.stream_index);
  if (index < tracks_.size() && tracks_[index] != nullptr) tracks_[index]->add(packet);
}

void OtherStreams::finish() {
  for (const std::unique_ptr<Track>& track : tracks_)
    if (track != nullptr) track->finish();
}

}  // namespace cmhost
