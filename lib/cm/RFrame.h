#pragma once

#include "lib/cm/CMExport.h"
#include "lib/cm/object_refcount.h"

namespace QOR {

/// Options of `createWithData`, combined bit by bit.
enum ConstructionFlags : unsigned int {
  /// The host copies the data into the new frame; the caller keeps its buffer and may free it as
  /// soon as the call returns.
  ConstructionCopyData = 1,
};

namespace CM {

/// One item of a stream, of whatever kind.
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
  /// Start of the picture's first plane. The frame owns it; a component reads it only.
  virtual unsigned char* data() const = 0;

  /// A new video frame that takes timing and all other properties from `like`, its pixel format
  /// from `fourcc` (first character in the most significant byte), and its picture from the `size`
  /// bytes at `data`. `reserved` is 0. With `ConstructionCopyData`, the only mode a component may
  /// ask for, the picture is copied.
  ///
  /// The result counts no reference yet (see `lumbase::object_refcount`); the caller takes its own
  /// and gives it back. Null when the host cannot make the frame.
  static RVideoFrame* createWithData(const RVideoFrame* like, unsigned int fourcc,
                                     unsigned int size, unsigned char* data, unsigned int reserved,
                                     ConstructionFlags flags);

 protected:
  RVideoFrame();
  ~RVideoFrame() override;
};

}  // namespace CM
}  // namespace QOR
