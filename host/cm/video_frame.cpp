#include "host/cm/video_frame.h"

#include <cstring>
#include <new>
#include <utility>

namespace cm {

VideoFrame::VideoFrame(unsigned int fourcc, unsigned int size, FrameProperties properties,
                       std::shared_ptr<PicturePool> pool)
    : fourcc_(fourcc), size_(size), properties_(std::move(properties)), pool_(std::move(pool)) {}

VideoFrame::~VideoFrame() = default;

QOR::RPtr<VideoFrame> VideoFrame::create(unsigned int fourcc, unsigned int size,
                                         FrameProperties properties,
                                         std::shared_ptr<PicturePool> pool) {
  QOR::RPtr<VideoFrame> frame(new VideoFrame(fourcc, size, std::move(properties), std::move(pool)));
  frame->picture_ = frame->pool_->take(size);
  frame->data_ = frame->picture_.get();
  return frame;
}

QOR::RPtr<VideoFrame> VideoFrame::wrap(unsigned int fourcc, unsigned int size, unsigned char* data,
                                       FrameProperties properties, FrameProperties owner,
                                       std::shared_ptr<PicturePool> pool) {
  QOR::RPtr<VideoFrame> frame(new VideoFrame(fourcc, size, std::move(properties), std::move(pool)));
  frame->owner_ = std::move(owner);
  frame->data_ = data;
  return frame;
}

}  // namespace cm

namespace QOR::CM {

RVideoFrame* RVideoFrame::createWithData(const RVideoFrame* like, unsigned int fourcc,
                                         unsigned int size, unsigned char* data,
                                         unsigned int /*reserved*/, ConstructionFlags flags) {
  const auto* const model = dynamic_cast<const cm::VideoFrame*>(like);
  if (model == nullptr || data == nullptr || flags != ConstructionCopyData) return nullptr;
  try {
    auto picture = model->pool_->take(size);
    std::memcpy(picture.get(), data, size);
    auto* const frame = new cm::VideoFrame(fourcc, size, model->properties(), model->pool_);
    frame->picture_ = std::move(picture);
    frame->data_ = frame->picture_.get();
    return frame;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

}  // namespace QOR::CM
