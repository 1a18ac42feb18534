#pragma once

#include <cstdint>

#include "host/cm/video_frame.h"
#include "host/cmhost/picture/picture_layout.h"
#include "host/cmhost/support/av.h"

namespace cmhost {

/// Bytes of the picture that a module sees for a frame of this size: planes without padding, chroma
/// sizes rounded down. Throws `Failure` when 32 bits cannot count them.
unsigned int packedSize(const PictureLayout& layout, int width, int height);

/// A frame for the component: the picture packed as the contract defines it, with the properties of
/// the decoded frame attached and a number of the caller's. A picture that is packed already is not
/// copied. With `keepPicture`, the decoded picture stays attached too; without it, memory is free
/// for the next picture as soon as nothing needs this one.
QOR::RPtr<cm::VideoFrame> packFrame(FramePtr decoded, const PictureLayout& layout,
                                    std::int64_t number = 0, bool keepPicture = false);

/// A frame for the encoder from one that a component put: the picture with the properties of the
/// decoded frame that it was made like. Files round chroma sizes up where the contract rounds down;
/// a column or row of chroma that the component never saw comes from the decoded frame. The picture
/// is only to be read: where all of it is the component's, it is not copied, and keeps the frame
/// that the component put. Throws `Failure` when the component put something else than a frame of
/// this layout.
FramePtr unpackFrame(const QOR::CM::RFrame* put, const PictureLayout& layout);

/// The decoded frame that one was made like for which `unpackFrame` has succeeded, without a
/// picture unless that was kept, and the number that it was packed with.
const AVFrame& decodedFrameOf(const QOR::CM::RFrame& put);
std::int64_t frameNumberOf(const QOR::CM::RFrame& put);

}  // namespace cmhost
