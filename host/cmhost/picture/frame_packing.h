#pragma once

#include <cstdint>
#include <memory>

#include "host/cm/video_frame.h"
#include "host/cmhost/picture/picture_layout.h"
#include "host/cmhost/support/av.h"

namespace cmhost {

/// Size in bytes of a packed frame as passed to a module: planes without padding, chroma sizes
/// rounded down. Throws `Failure` if it does not fit into 32 bits.
unsigned int packedSize(const PictureLayout& layout, int width, int height);

/// Creates a frame for the component, packed as the contract defines, with the properties of the
/// decoded frame and the caller's `number` attached. A frame that is already packed is not copied.
/// Its memory, and that of the frames that the component creates from it, comes from `pool`. With
/// `keepPicture`, the decoded pixel data stays attached too; otherwise it is released as soon as
/// nothing uses it.
QOR::RPtr<cm::VideoFrame> packFrame(
    FramePtr decoded, const PictureLayout& layout, std::int64_t number = 0,
    bool keepPicture = false, std::shared_ptr<cm::PicturePool> pool = cm::PicturePool::create());

/// Creates a frame for the encoder from a frame returned by the component, with the properties of
/// the decoded frame that it was created from. Files round chroma sizes up and the contract rounds
/// them down: a chroma column or row that the component did not get comes from the decoded frame.
/// If there is none, the pixel data is not copied and keeps the component's frame alive. The result
/// is read-only. Throws `Failure` if the component returned anything other than a frame of this
/// layout.
FramePtr unpackFrame(const QOR::CM::RFrame* put, const PictureLayout& layout);

/// The decoded frame and the number that belong to a frame returned by the component, after
/// `unpackFrame` has succeeded. The decoded frame has pixel data only if it was kept.
const AVFrame& decodedFrameOf(const QOR::CM::RFrame& put);
std::int64_t frameNumberOf(const QOR::CM::RFrame& put);

}  // namespace cmhost
