#pragma once

#include <functional>

#include "host/cmhost/output/streams/track.h"
#include "host/cmhost/support/av.h"

namespace cmhost {

/// Adds a stream to `format` that holds the packets of `from` unchanged, with its tags, disposition
/// and side data. In Matroska, a cover becomes an attachment, which is stored in the header.
AVStream& addCopyOf(const AVStream& from, AVFormatContext& format);

/// Copies the side data of a stream, such as its rotation, of the types that `holds` accepts.
void copySideData(const AVStream& from, AVStream& to,
                  const std::function<bool(AVPacketSideDataType)>& holds);

/// Writes the packets of a stream unchanged.
class CopiedStream final : public Track {
 public:
  /// Adds the copy of `from` to `format`.
  CopiedStream(const AVStream& from, AVFormatContext& format, PacketWriter writer);

  void add(const AVPacket& packet) override;

 private:
  AVStream& stream_;
  AVRational timeBase_;  ///< of the packets
  PacketWriter writer_;
};

}  // namespace cmhost
