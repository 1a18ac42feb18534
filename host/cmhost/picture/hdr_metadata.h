#pragma once

#include <string>

#include "host/cmhost/support/av.h"

namespace cmhost {

/// Whether side data of a stream describes how HDR video was mastered. It does not hold for video
/// that was converted to 8 bits.
bool isHdrMetadata(AVPacketSideDataType type);

/// Whether the stream or the frame has such data.
bool hasHdrMetadata(const AVStream& stream, const AVFrame& frame);

/// Removes such data from a frame.
void removeHdrMetadata(AVFrame& frame);

}  // namespace cmhost
