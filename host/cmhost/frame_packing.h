#pragma once

#include "host/cm/video_frame.h"
#include "host/cmhost/av.h"
#include "host/cmhost/picture_layout.h"

namespace cmhost {

/// Bytes of the picture that a module sees for a frame of this size: planes without padding, chroma
/// sizes rounded down. Throws `Failure` when 32 bits cannot count them.
unsigned int packedSize(const PictureLayout& layout, int width, int height);

/// A frame for the component: the picture packed as the contract has it, with the decoded frame
/// itself attached, which carries all properties.
QOR::RPtr<cm::VideoFrame> packFrame(FramePtr decoded, const PictureLayout& layout);

/// A frame for the encoder from one that a component put: the picture with the properties of the
/// decoded frame that it was made like. Files round chroma sizes up where the contract rounds down;
/// a column or row of chroma that the component never saw comes from the decoded frame. Throws
/// `Failure` when the component put something else than a frame of this layout.
FramePtr unpackFrame(const QOR::CM::RFrame* put, const PictureLayout& layout);

}  // namespace cmhost
