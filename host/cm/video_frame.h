#pragma once

#include <memory>

#include "lib/cm/CMExport.h"
#include "lib/cm/RFrame.h"
#include "lib/cm/RPtr.h"

namespace cm {

/// What a host attaches to a frame and finds again on every frame made like it: timing, tags, side
/// data. This library hands it on unread.
using FrameProperties = QOR::RPtr<const lumbase::object_refcount>;

/// A decoded picture as this host makes it: a buffer of its own, its pixel format, and the
/// properties that the host attached. The picture is written by whoever creates the frame and is
/// only read once the frame is on a queue; everything else never changes.
class CM_API VideoFrame final : public QOR::CM::RVideoFrame {
 public:
  /// A frame with `size` bytes of picture that are not yet written. Throws `std::bad_alloc`.
  static QOR::RPtr<VideoFrame> create(unsigned int fourcc, unsigned int size,
                                      FrameProperties properties);

  /// A frame whose picture is the `size` bytes at `data`, which stay unchanged as long as `owner`
  /// lives. Frames made like this one share its properties but not its owner.
  static QOR::RPtr<VideoFrame> wrap(unsigned int fourcc, unsigned int size, unsigned char* data,
                                    FrameProperties properties, FrameProperties owner);

  unsigned char* data() const override { return data_; }

  /// Bytes of the picture.
  unsigned int size() const { return size_; }

  /// Pixel format, first character in the most significant byte.
  unsigned int fourcc() const { return fourcc_; }

  const FrameProperties& properties() const { return properties_; }

 private:
  friend class QOR::CM::RVideoFrame;

  struct Release {
    unsigned int size;
    void operator()(unsigned char* picture) const;
  };
  using Picture = std::unique_ptr<unsigned char, Release>;

  static Picture newPicture(unsigned int size);

  VideoFrame(unsigned int fourcc, unsigned int size, FrameProperties properties,
             FrameProperties owner, Picture picture, unsigned char* data);
  ~VideoFrame() override;

  unsigned int fourcc_;
  unsigned int size_;
  FrameProperties properties_;
  FrameProperties owner_;  ///< of the picture; null when it is this frame's own
  Picture picture_;        ///< null when the picture has another owner
  unsigned char* data_;
};

}  // namespace cm
