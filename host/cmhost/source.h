#pragma once

#include <cstdint>
#include <optional>

#include "host/cmhost/picture/rotation.h"
#include "host/cmhost/support/av.h"

namespace cmhost {

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
};

}  // namespace cmhost
