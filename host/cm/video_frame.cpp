#include "host/cm/video_frame.h"

#include <cstring>
#include <new>
#include <utility>

namespace cm {

namespace {

// A cache line: copies of whole pictures are quickest between such places.
constexpr std::align_val_t pictureAlignment{64};

}  // namespace

void VideoFrame::Free::operator()(unsigned char* picture) const {
  ::operator delete(picture, pictureAlignment);
}

VideoFrame::Picture VideoFrame::newPicture(unsigned int size) {
  return Picture(static_cast<unsigned char*>(::operator new(size, pictureAlignment)));
}

VideoFrame::VideoFrame(unsigned int fourcc, unsigned int size, FrameProperties properties,
                       Picture picture, unsigned char* data)
    : fourcc_(fourcc),
      size_(size),
      properties_(std::move(properties)),
      picture_(std::move(picture)),
      data_(data) {}

VideoFrame::~VideoFrame() = default;

QOR::RPtr<VideoFrame> VideoFrame::create(unsigned int fourcc, unsigned int size,
                                         FrameProperties properties) {
  Picture picture = newPicture(size);
  unsigned char* const data = picture.get();
  return {new VideoFrame(fourcc, size, std::move(properties), std::move(picture), data)};
}

QOR::RPtr<VideoFrame> VideoFrame::wrap(unsigned int fourcc, unsigned int size, unsigned char* data,
                                       FrameProperties properties) {
  return {new VideoFrame(fourcc, size, std::move(properties), nullptr, data)};
}

}  // namespace cm

namespace QOR::CM {

RVideoFrame* RVideoFrame::createWithData(const RVideoFrame* like, unsigned int fourcc,
                                         unsigned int size, unsigned char* data,
                                         unsigned int /*reserved*/, ConstructionFlags flags) {
  const auto* const model = dynamic_cast<const cm::VideoFrame*>(like);
  if (model == nullptr || data == nullptr || flags != ConstructionCopyData) return nullptr;
  try {
    auto picture = cm::VideoFrame::newPicture(size);
    std::memcpy(picture.get(), data, size);
    unsigned char* const own = picture.get();
    return new cm::VideoFrame(fourcc, size, model->properties(), std::move(picture), own);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

}  // namespace QOR::CM
