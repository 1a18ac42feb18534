#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/cmhost/output/streams/track.h"
#include "host/cmhost/source.h"
#include "host/cmhost/support/av.h"

namespace cmhost {

/// Converts text subtitles to a text format that the container supports.
class ConvertedSubtitles final : public Track {
 public:
  /// Adds the converted stream of `from` to `format`. Null when these are not subtitles of text, or
  /// the container takes none.
  static std::unique_ptr<ConvertedSubtitles> open(const AVStream& from, AVFormatContext& format,
                                                  const Source& source, PacketWriter writer);

  /// The new format, for messages.
  std::string text() const { return avcodec_get_name(encoder_->codec_id); }

  void add(const AVPacket& packet) override;

 private:
  ConvertedSubtitles(const AVStream& from, AVFormatContext& format, const Source& source,
                     PacketWriter writer, CodecPtr decoder, CodecPtr encoder);

  void write(AVSubtitle& cue, const AVPacket& from);

  const std::string name_;  ///< of the input's stream, for messages
  const AVRational timeBase_;
  const Source source_;
  PacketWriter writer_;
  CodecPtr decoder_;
  CodecPtr encoder_;
  AVStream& stream_;
  std::vector<std::uint8_t> text_;
};

}  // namespace cmhost
