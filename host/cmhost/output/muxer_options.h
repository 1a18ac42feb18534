#pragma once

#include "host/cmhost/options.h"
#include "host/cmhost/support/av.h"
#include "host/cmhost/support/dictionary.h"

namespace cmhost {

/// Sets the options of a muxer: those in `named`, and defaults for players. MP4 and QuickTime files
/// start with their index, so that players need not read the file to its end first. Where the
/// output is not `seekable`, such as a pipe, they are written in fragments.
void setMuxerOptions(const AVOutputFormat& container, bool seekable,
                     const Options::KeyValues& named, Dictionary& dictionary);

/// Gives HEVC the tag that all players of MP4 and QuickTime files know. Other video is unchanged.
void setCodecTag(const AVOutputFormat& container, AVCodecParameters& video);

}  // namespace cmhost
