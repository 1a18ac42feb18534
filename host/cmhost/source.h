#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "host/cmhost/picture/rotation.h"
#include "host/cmhost/support/av.h"

namespace cmhost {

/// Whether a stream is a video, and not the cover of one.
inline bool isMovingPicture(const AVStream& stream) {
  return stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO &&
         (stream.disposition & AV_DISPOSITION_ATTACHED_PIC) == 0;
}

/// "stream 1 (audio, aac)"
std::string streamText(const AVStream& stream);

/// Describes the input for the output: streams, tags, frame rate and the selected part of the file.
/// Refers to the opened file, which must outlive it.
struct Source {
  AVFormatContext& format;
  AVStream& video;
  AVRational frameRate;  ///< according to the container; 0/0 when unknown

  /// Subtracted from the time stamps of the file, in microseconds; 0 when the part starts with the
  /// file.
  std::int64_t shift = 0;

  /// Whether the part may end earlier than the file. Its end is known after the last frame.
  bool mayEndEarly = false;

  AVFieldOrder fieldOrder = AV_FIELD_UNKNOWN;  ///< according to the container

  /// For players of the output; none if the frames have been turned.
  std::optional<DisplayMatrix> displayMatrix = {};

  /// Whether side data about HDR still holds for the frames.
  bool keepsHdrMetadata = true;

  /// Whether the first packets of a stream may refer to data before the part or the file.
  bool mayBeginIncomplete = false;

  /// Reports damage that is found while another stream is decoded. Throws `Failure` unless the run
  /// may continue. Call it on the reading thread, or while nothing is read.
  std::function<void(const std::string& what)> damaged;
};

}  // namespace cmhost
