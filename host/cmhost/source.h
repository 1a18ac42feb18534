#pragma once

#include <cstdint>
#include <optional>

#include "host/cmhost/support/av.h"

namespace cmhost {

/// What the output takes over from the input: streams, tags, rate and the part of the file that is
/// marked. It refers to the opened file, which must live longer.
struct Source {
  AVFormatContext& format;
  AVStream& video;
  AVRational frameRate;  ///< frames per second as the container says; 0/0 when it does not

  /// What is subtracted from the file's time stamps in the output, in microseconds; 0 when the part
  /// begins where the file does.
  std::int64_t shift = 0;

  /// Where the part ends, in microseconds of the output's time stamps; none when it ends with the
  /// file, or when the container has no frame rate.
  std::optional<std::int64_t> end;
};

}  // namespace cmhost
