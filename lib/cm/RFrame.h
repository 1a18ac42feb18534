#pragma once

#include "lib/cm/CMExport.h"
#include "lib/cm/object_refcount.h"

namespace QOR {

/// Bit flags of `createWithData`.
enum ConstructionFlags : unsigned int {
  /// The host copies the data into the new frame; the caller keeps its buffer and may free it as
  /// soon as the call returns.
  ConstructionCopyData = 1,
};

namespace CM {

/// One item of a stream, of any kind.
class CM_API RFrame : public lumbase::object_refcount {
 protected:
  RFrame();
  ~RFrame() override;
};

/// A decoded picture with its timing.
///
/// The picture is one contiguous buffer in which the planes follow one another (alpha first where
/// the format has one, then Y', Cb, Cr), each stored row after row without padding. Chroma sizes
/// are the luma sizes shifted right by the format's subsampling, rounding down.
class CM_API RVideoFrame : public RFrame {
 public:
  /// Start of the picture's first plane. The frame owns it; components only read it.
  virtual unsigned char* data() const = 0;

  /// Creates a video frame with timing and all other properties of `like`, the pixel format
  /// `fourcc` (first character in the most significant byte), and the `size` bytes at `data` as its
  /// picture. `reserved` is 0. With `ConstructionCopyData`, the only mode that a component may use,
  /// the picture is copied.
  ///
  /// The result has a reference count of 0 (see `lumbase::object_refcount`); the caller retains and
  /// releases it. Returns null if the host cannot make the frame.
  static RVideoFrame* createWithData(const RVideoFrame* like, unsigned int fourcc,
                                     unsigned int size, unsigned char* data, unsigned int reserved,
                                     ConstructionFlags flags);

 protected:
  RVideoFrame();
  ~RVideoFrame() override;
};

}  // namespace CM
}  // namespace QOR
