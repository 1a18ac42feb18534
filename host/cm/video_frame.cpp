#include "host/cm/video_frame.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <mutex>
#include <new>
#include <utility>

namespace cm {

namespace {

// A cache line: copying complete frames is fastest with this alignment.
constexpr std::align_val_t pictureAlignment{64};

// Buffers of released frames are reused for new frames of the same size, because the system would
// have to clear new memory, which is also not in the cache. All buffers are freed with the last
// frame.
class PicturePool {
 public:
  unsigned char* take(unsigned int size) {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      ++used_;
      if (kept_ > 0 && size == size_) return pictures_[--kept_];
    }
    try {
      return static_cast<unsigned char*>(::operator new(size, pictureAlignment));
    } catch (...) {
      const std::lock_guard<std::mutex> lock(mutex_);
      --used_;
      throw;
    }
  }

  void release(unsigned char* picture, unsigned int size) {
    const std::lock_guard<std::mutex> lock(mutex_);
    --used_;
    if (size != size_) {
      clear();
      size_ = size;
    }
    if (kept_ == pictures_.size()) {
      ::operator delete(picture, pictureAlignment);
    } else {
      pictures_[kept_++] = picture;
    }
    if (used_ == 0) clear();
  }

 private:
  void clear() {
    while (kept_ > 0) ::operator delete(pictures_[--kept_], pictureAlignment);
  }

  std::mutex mutex_;
  std::array<unsigned char*, 4> pictures_{};
  std::size_t kept_ = 0;
  std::size_t used_ = 0;
  unsigned int size_ = 0;
};

// Never destroyed: frames may outlive static objects at the end of the process.
PicturePool& picturePool() {
  static PicturePool& pool = *new PicturePool;
  return pool;
}

}  // namespace

void VideoFrame::Release::operator()(unsigned char* picture) const {
  picturePool().release(picture, size);
}

VideoFrame::Picture VideoFrame::newPicture(unsigned int size) {
  return Picture(picturePool().take(size), Release{size});
}

VideoFrame::VideoFrame(unsigned int fourcc, unsigned int size, FrameProperties properties,
                       FrameProperties owner, Picture picture, unsigned char* data)
    : fourcc_(fourcc),
      size_(size),
      properties_(std::move(properties)),
      owner_(std::move(owner)),
      picture_(std::move(picture)),
      data_(data) {}

VideoFrame::~VideoFrame() = default;

QOR::RPtr<VideoFrame> VideoFrame::create(unsigned int fourcc, unsigned int size,
                                         FrameProperties properties) {
  Picture picture = newPicture(size);
  unsigned char* const data = picture.get();
  return {new VideoFrame(fourcc, size, std::move(properties), nullptr, std::move(picture), data)};
}

QOR::RPtr<VideoFrame> VideoFrame::wrap(unsigned int fourcc, unsigned int size, unsigned char* data,
                                       FrameProperties properties, FrameProperties owner) {
  return {new VideoFrame(fourcc, size, std::move(properties), std::move(owner),
                         Picture(nullptr, Release{0}), data)};
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
    return new cm::VideoFrame(fourcc, size, model->properties(), nullptr, std::move(picture), own);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

}  // namespace QOR::CM
