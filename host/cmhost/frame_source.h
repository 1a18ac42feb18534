#pragma once

#include <memory>
#include <optional>

#include "host/cmhost/input/input.h"
#include "host/cmhost/options.h"
#include "host/cmhost/picture/frame_fitter.h"
#include "host/cmhost/picture/frame_preparation.h"
#include "host/cmhost/picture/picture_layout.h"
#include "host/cmhost/source.h"
#include "host/cmhost/support/av.h"

namespace cmhost {

/// Delivers the frames of the input as they are marked: decoded, checked and prepared. Not
/// thread-safe.
class FrameSource {
 public:
  /// Decodes the first frame and chooses the layout. `stored` is how the output stores
  /// them. Throws `Failure`, and
  /// `interruption::Interrupted` after a signal.
  FrameSource(Input& input, const Options& options, StoredSamples stored = {});

  /// The layout of all frames, with the code that the module uses for it.
  const PictureLayout& layout() const { return layout_; }

  /// The first frame, as a model for all frames. Valid until the first call of `next`.
  const AVFrame& first() const { return *first_; }

  /// Describes the input for the output, as far as it still holds for the prepared frames.
  Source source() const;

  /// The next frame, starting with the first; null at the end of the part. Throws `Failure`, also
  /// when a frame differs from the first in size or pixel format. With --conceal, that frame is
  /// scaled and counts as damaged.
  FramePtr next();

 private:
  FramePtr likeFirst(FramePtr decoded);

  Input& input_;
  FramePtr first_;  ///< null after `next` has returned it
  int width_ = 0;   ///< of decoded frames
  int height_ = 0;
  int format_ = AV_PIX_FMT_NONE;
  PictureLayout layout_{};
  bool conceals_;
  std::unique_ptr<FrameFitter> fitter_;  ///< null until a frame differs from the first
  std::optional<FramePreparation> preparation_;
};

}  // namespace cmhost
