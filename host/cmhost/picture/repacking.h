#pragma once

#include "host/cmhost/picture/picture_layout.h"
#include "host/cmhost/support/av.h"

namespace cmhost {

/// The layout that holds the same samples as a pixel format, in planes: for formats that interleave
/// the samples (such as NV12 and YUYV) and for 8-bit grey. Null for all others.
const PictureLayout* layoutOfSamples(AVPixelFormat format);

/// The same samples in the layout that `layoutOfSamples` returns. The chroma samples of grey are
/// neutral; grey without a range tag has full range, as everywhere in the media libraries.
FramePtr asPlanes(const AVFrame& frame);

/// The first pixel format of a list terminated by `AV_PIX_FMT_NONE` that interleaves the samples of
/// `layout`; `AV_PIX_FMT_NONE` without one.
AVPixelFormat interleavedFormatOf(const PictureLayout& layout, const AVPixelFormat* formats);

/// The samples of a frame in three planes in a format that `interleavedFormatOf` returns.
FramePtr interleaved(const AVFrame& frame, AVPixelFormat format);

}  // namespace cmhost
