#pragma once

#include <memory>
#include <optional>
#include <string>

#include "host/cmhost/options.h"
#include "host/cmhost/picture/layout_converter.h"
#include "host/cmhost/picture/picture_layout.h"
#include "host/cmhost/picture/rotation.h"
#include "host/cmhost/support/av.h"

namespace cmhost {

/// How an output stores the samples.
struct StoredSamples {
  bool asRgb = false;        ///< as RGB only
  bool inFullRange = false;  ///< in full range only
};

/// Brings decoded frames into the form in which they are marked: in a layout of the module and, if
/// the options do not exclude it, turned as players show them. Samples change only by a conversion
/// that the user allows. Not thread-safe.
class FramePreparation {
 public:
  /// Prepares for frames like `first` of this stream; `input` names the file in messages. RGB that
  /// is stored as RGB again becomes 4:4:4 in full range without a conversion being asked for.
  /// Prints warnings about what is lost. Throws `Failure` if the frames need a conversion that the
  /// options do not allow.
  FramePreparation(std::string input, const AVStream& stream, const AVFrame& first,
                   const Options& options, StoredSamples stored = {});

  /// The layout of all prepared frames.
  const PictureLayout& layout() const { return *layout_; }

  /// Whether players turn this frame by quarter turns if they turn the first one so. Otherwise the
  /// sizes of the prepared frames differ.
  bool turnsLikeFirst(const AVFrame& decoded) const;

  /// The prepared frame. `decoded` has the size and pixel format of the first frame. If it
  /// does not turn like that, it is turned as the first frame.
  FramePtr prepare(FramePtr decoded) const;

  /// The display matrix that still holds for the prepared frames.
  const std::optional<DisplayMatrix>& displayMatrix() const { return displayMatrix_; }

  /// Whether frames are turned by a quarter, so that width and height are exchanged.
  bool swapsAxes() const { return orientation_.swapsAxes; }

  /// Whether the frames are converted to fewer bits, so that HDR metadata no longer holds.
  bool losesBits() const { return losesBits_; }

 private:
  const PictureLayout& chooseLayout(const AVFrame& first, const Options& options,
                                    StoredSamples stored) const;
  const PictureLayout& layoutToTurn(AVPixelFormat format, const Options& options);
  Orientation orientationOf(const AVFrame& decoded) const;
  void warnOfLosses(const AVFrame& first) const;
  FramePtr inLayout(FramePtr decoded) const;

  std::string input_;
  const AVStream& stream_;
  bool turns_;
  std::optional<DisplayMatrix> displayMatrix_;
  Orientation orientation_;                      ///< of the first frame
  const PictureLayout* layout_ = nullptr;        ///< of the result
  const PictureLayout* turnsIn_ = nullptr;       ///< the layout in which frames are turned
  std::unique_ptr<LayoutConverter> before_;      ///< conversion before turning; null: none
  std::unique_ptr<LayoutConverter> afterwards_;  ///< and after it
  bool losesBits_ = false;
};

}  // namespace cmhost
