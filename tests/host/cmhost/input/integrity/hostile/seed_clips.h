#pragma once

extern "C" {
#include <libavutil/pixfmt.h>
}

#include <ostream>
#include <string>
#include <vector>

namespace hostile {

/// What is noticed when a file lacks a picture or has one more.
enum class Loss {
  told,         ///< always
  toldInMedia,  ///< unless the tables of the file say so as well
  silent,       ///< not always: nothing counts its pictures
};

/// A small undamaged file from which damaged ones are made.
struct SeedClip {
  const char* name;
  const char* extension;
  const char* encoder;
  AVPixelFormat format = AV_PIX_FMT_YUV420P;
  Loss loss = Loss::told;
  bool sound = false;
  bool checksums = false;  ///< no damaged picture passes for a good one
};

/// For messages.
void PrintTo(const SeedClip& seed, std::ostream* to);

constexpr int seedFrames = 12;

/// One for every pair of a container and a codec that is worth its time.
const std::vector<SeedClip>& seedClips();

/// The content of a seed's file: `seedFrames` pictures, the same in every run.
std::string bytesOf(const SeedClip& seed);

}  // namespace hostile
