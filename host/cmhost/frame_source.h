#pragma once

#include <memory>

#include "host/cmhost/input/input.h"
#include "host/cmhost/options.h"
#include "host/cmhost/picture/layout_converter.h"
#include "host/cmhost/picture/picture_layout.h"
#include "host/cmhost/support/av.h"

namespace cmhost {

/// The frames of the input in one layout that the module takes: decoded, checked and converted
/// where --convert asks for it. One thread at a time.
class FrameSource {
 public:
  /// Decodes the first frame and chooses the layout. Throws `Failure`, and
  /// `interruption::Interrupted` when a signal came first.
  FrameSource(Input& input, const Options& options);

  /// The layout of all frames, with the code by which the module knows it.
  const PictureLayout& layout() const { return layout_; }

  /// What all frames are like: the first one, until `next` has returned it.
  const AVFrame& first() const { return *first_; }

  /// The next frame, beginning with the first; null at the end of the part. Throws `Failure`, also
  /// when a frame has another size or pixel format than the first.
  FramePtr next();

 private:
  FramePtr convert(FramePtr decoded) const;
  void checkLikeFirst(const AVFrame& decoded) const;

  Input& input_;
  FramePtr first_;  ///< null once it is handed out
  int width_ = 0;   ///< of decoded pictures
  int height_ = 0;
  int format_ = AV_PIX_FMT_NONE;
  PictureLayout layout_{};
  std::unique_ptr<LayoutConverter> converter_;  ///< null when pictures are decoded in the layout
};

}  // namespace cmhost
