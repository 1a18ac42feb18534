#pragma once

extern "C" {
#include <libavutil/pixfmt.h>
}

#include <ostream>
#include <string>
#include <vector>

namespace hostile {

/// Whether a missing or additional frame is detected.
enum class Loss {
  told,         ///< always
  toldInMedia,  ///< unless the index of the file has the same change
  silent,       ///< not always: the container does not count frames
};

/// A small undamaged file, the source of damaged ones.
struct SeedClip {
  const char* name;
  const char* extension;
  const char* encoder;
  AVPixelFormat format = AV_PIX_FMT_YUV420P;
  Loss loss = Loss::told;
  bool sound = false;
  bool checksums = false;  ///< every damaged frame is detected
};

/// Prints a seed in test messages.
void PrintTo(const SeedClip& seed, std::ostream* to);

constexpr int seedFrames = 12;

/// One seed for every useful pair of container and codec.
const std::vector<SeedClip>& seedClips();

/// The content of the seed's file: `seedFrames` frames, the same in every run.
std::string bytesOf(const SeedClip& seed);

}  // namespace hostile
