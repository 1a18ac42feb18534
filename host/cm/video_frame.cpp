#include "host/cm/video_frame.h"

#include <cstring>
#include <new>
#include <utility>

namespace cm {

VideoFrame::VideoFrame(unsigned int fourcc, unsigned int size, FrameProperties properties)
    : fourcc_(fourcc),
      size_(size),
      properties_(std::move(properties)),
      picture_(new unsigned char[size]) {}

VideoFrame::~VideoFrame() = default;

QOR::RPtr<VideoFrame> VideoFrame::create(unsigned int fourcc, unsigned int size,
                                         FrameProperties properties) {
  return {new VideoFrame(fourcc, size, std::move(properties))};
}

}  // namespace cm

namespace QOR::CM {

RVideoFrame* RVideoFrame::createWithData(const RVideoFrame* like, unsigned int fourcc,
                                         unsigned int size, unsigned char* data,
                                         unsigned int /*reserved*/, ConstructionFlags flags) {
  const auto* const model = dynamic_cast<const cm::VideoFrame*>(like);
  if (model == nullptr || data == nullptr || flags != ConstructionCopyData) return nullptr;
  try {
    auto* const frame = new cm::VideoFrame(fourcc, size, model->properties());
    std::memcpy(frame->data(), data, size);
    return frame;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

}  // namespace QOR::CM
