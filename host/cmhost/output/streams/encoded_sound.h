#pragma once

#include <memory>
#include <string>

#include "host/cmhost/output/streams/sound_converter.h"
#include "host/cmhost/output/streams/track.h"
#include "host/cmhost/source.h"
#include "host/cmhost/support/av.h"

namespace cmhost {

/// Decodes a stream of sound and encodes it for the container.
class EncodedSound final : public Track {
 public:
  /// Adds the encoded stream of `from` to `format`. Null when it cannot be decoded, or the
  /// container takes no sound that can be encoded.
  static std::unique_ptr<EncodedSound> open(const AVStream& from, AVFormatContext& format,
                                            const Source& source, PacketWriter writer);

  /// The codec and its settings, for messages.
  std::string text() const;

  void add(const AVPacket& packet) override;
  void finish() override;

 private:
  EncodedSound(const AVStream& from, AVFormatContext& format, const Source& source,
               PacketWriter writer, CodecPtr decoder, CodecPtr encoder);

  void decode(const AVPacket* packet);
  void reportDamage(const std::string& what);
  void encode(const AVFrame* frame);

  const std::string name_;  ///< of the input's stream, for messages
  const Source source_;
  PacketWriter writer_;
  CodecPtr decoder_;
  CodecPtr encoder_;
  AVStream& stream_;
  SoundConverter converter_;
  FramePtr frame_;
  PacketPtr packet_;
  std::int64_t packets_ = 0;
  bool hasSound_ = false;
};

}  // namespace cmhost
