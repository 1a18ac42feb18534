#include "host/cm/video_description.h"

namespace cm {

VideoDescription::VideoDescription(unsigned int width, unsigned int height)
    : width_(width), height_(height) {}

VideoDescription::~VideoDescription() = default;

QOR::RPtr<VideoDescription> VideoDescription::create(unsigned int width, unsigned int height) {
  return {new VideoDescription(width, height)};
}

}  // namespace cm
