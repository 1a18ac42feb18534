#pragma once

#include <string>

#include "host/cmhost/support/av.h"

namespace cmhost {

/// Opens an encoder for the sound of `from` whose stream can be added to `format`: the container's
/// usual encoder or, if this is unavailable, another common one, at a generous bit rate. Sample
/// format, rate and channels are those of `from` where encoder and container support them. Null
/// when the container takes no sound that can be encoded.
CodecPtr openSoundEncoder(const AVStream& from, const AVFormatContext& format);

/// Opens the decoder of a stream of sound. Null when there is none for it.
CodecPtr openSoundDecoder(const AVStream& sound);

/// The channels of sound: `layout`, or the usual one for their number if it does not name them.
AVChannelLayout namedLayout(const AVChannelLayout& layout);

/// The sample rates that can be converted. Others are mistakes, or would need too much memory.
bool isUsualRate(int rate);

/// "aac, 48000 Hz, stereo, 256 kb/s"
std::string soundText(const AVCodecContext& encoder);

}  // namespace cmhost
