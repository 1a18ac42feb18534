#include "host/cm/picture_pool.h"

#include <cstring>
#include <limits>
#include <new>

namespace cm {

namespace {

// A cache line: copying complete frames is fastest with this alignment.
constexpr std::align_val_t pictureAlignment{64};

}  // namespace

std::shared_ptr<PicturePool> PicturePool::create() {
  return std::shared_ptr<PicturePool>(new PicturePool);
}

PicturePool::PicturePool() = default;

PicturePool::~PicturePool() { clear(); }

void PicturePool::clear() {
  for (unsigned char* const picture : kept_) ::operator delete(picture, pictureAlignment);
  kept_.clear();
}

unsigned char* PicturePool::takeKept(std::size_t size) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (size != size_) clear();
  size_ = size;
  kept_.reserve(kept_.size() + inUse_ + 1);  // so that releasing a buffer cannot fail
  ++inUse_;
  if (kept_.empty()) return nullptr;
  unsigned char* const picture = kept_.back();
  kept_.pop_back();
  return picture;
}

PicturePool::Picture PicturePool::take(std::size_t size) {
  if (size > std::numeric_limits<std::size_t>::max() - padding) throw std::bad_alloc();
  unsigned char* picture = takeKept(size);
  try {
    if (picture == nullptr) {
      const std::size_t bytes = size + padding;
      picture = static_cast<unsigned char*>(::operator new(bytes, pictureAlignment));
      std::memset(picture + size, 0, padding);
    }
  } catch (...) {
    const std::lock_guard<std::mutex> lock(mutex_);
    --inUse_;
    throw;
  }
  return Picture(picture, Release{shared_from_this(), size});
}

void PicturePool::Release::operator()(unsigned char* picture) const {
  const std::lock_guard<std::mutex> lock(pool->mutex_);
  --pool->inUse_;
  if (size == pool->size_)
    pool->kept_.push_back(picture);
  else
    ::operator delete(picture, pictureAlignment);
}

}  // namespace cm
