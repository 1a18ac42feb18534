#pragma once

#include <memory>

#include "host/cm/picture_pool.h"
#include "lib/cm/CMExport.h"
#include "lib/cm/RFrame.h"
#include "lib/cm/RPtr.h"

namespace cm {

/// Data that a host attaches to a frame, such as time stamps, tags and side data. Frames created
/// from that frame share it. This library does not use it.
using FrameProperties = QOR::RPtr<const lumbase::object_refcount>;

/// A video frame of this host: a buffer, its pixel format, and the properties that the host
/// attached. The creator of the frame writes the pixel data before it queues the frame; after that,
/// the data is read-only. Everything else never changes.
class CM_API VideoFrame final : public QOR::CM::RVideoFrame {
 public:
  /// Creates a frame with `size` bytes of uninitialised pixel data from `pool`. Frames created from
  /// this one use the same pool. Throws `std::bad_alloc`.
  static QOR::RPtr<VideoFrame> create(unsigned int fourcc, unsigned int size,
                                      FrameProperties properties,
                                      std::shared_ptr<PicturePool> pool = PicturePool::create());

  /// Creates a frame that uses the `size` bytes at `data`, which must stay valid and unchanged as
  /// long as `owner` exists. Frames created from this one share its properties but not its owner,
  /// and take their pixel data from `pool`.
  static QOR::RPtr<VideoFrame> wrap(unsigned int fourcc, unsigned int size, unsigned char* data,
                                    FrameProperties properties, FrameProperties owner,
                                    std::shared_ptr<PicturePool> pool = PicturePool::create());

  unsigned char* data() const override { return data_; }

  /// Size of the pixel data in bytes.
  unsigned int size() const { return size_; }

  /// Whether the pixel data comes from a pool, so that `PicturePool::padding` bytes follow it.
  bool isPadded() const { return picture_ != nullptr; }

  /// Pixel format; the first character is in the most significant byte.
  unsigned int fourcc() const { return fourcc_; }

  const FrameProperties& properties() const { return properties_; }

 private:
  friend class QOR::CM::RVideoFrame;

  VideoFrame(unsigned int fourcc, unsigned int size, FrameProperties properties,
             std::shared_ptr<PicturePool> pool);
  ~VideoFrame() override;

  unsigned int fourcc_;
  unsigned int size_;
  FrameProperties properties_;
  std::shared_ptr<PicturePool> pool_;
  FrameProperties owner_;         ///< of the pixel data; null when this frame owns it
  PicturePool::Picture picture_;  ///< null when the pixel data has another owner
  unsigned char* data_ = nullptr;
};

}  // namespace cm
