#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

#include "lib/cm/CMExport.h"

namespace cm {

/// Reuses the pixel buffers of a stream's frames: a released buffer is kept for the next frame of
/// the same size, because the system clears new memory, which takes time. A pool never holds more
/// buffers than were in use at once. All functions may be called from any thread.
class CM_API PicturePool : public std::enable_shared_from_this<PicturePool> {
 public:
  /// Zero bytes after every buffer: vector code may read past the last row.
  static constexpr std::size_t padding = 64;

  static std::shared_ptr<PicturePool> create();

  ~PicturePool();
  PicturePool(const PicturePool&) = delete;
  PicturePool& operator=(const PicturePool&) = delete;

  /// Returns a buffer to its pool, which exists as long as any of its buffers.
  struct Release {
    std::shared_ptr<PicturePool> pool;
    std::size_t size;
    void operator()(unsigned char* picture) const;
  };
  using Picture = std::unique_ptr<unsigned char, Release>;

  /// A buffer of `size` uninitialised bytes, aligned to 64 bytes, and the padding.
  /// Throws `std::bad_alloc`.
  Picture take(std::size_t size);

 private:
  PicturePool();

  unsigned char* takeKept(std::size_t size);
  void clear();

  std::mutex mutex_;
  std::vector<unsigned char*> kept_;  ///< has room for every buffer in use
  std::size_t inUse_ = 0;
  std::size_t size_ = 0;  ///< of the buffers kept
};

}  // namespace cm
