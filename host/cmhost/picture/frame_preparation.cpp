#include "host/cmhost/picture/frame_preparation.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

#include <utility>

#include "host/cmhost/picture/hdr_metadata.h"
#include "host/cmhost/picture/repacking.h"
#include "host/cmhost/picture/transparency.h"
#include "host/cmhost/picture/turning.h"
#include "host/cmhost/support/failure.h"
#include "host/cmhost/support/messages.h"

namespace cmhost {

namespace {

const PictureLayout& layoutForPlayers() { return *layoutOf(AV_PIX_FMT_YUV420P); }

const PictureLayout& fullChroma() { return *layoutOf(AV_PIX_FMT_YUV444P); }

// The layout that holds the same samples; null without one.
const PictureLayout* exactLayoutOf(AVPixelFormat format) {
  const PictureLayout* const layout = layoutOf(format);
  return layout != nullptr ? layout : layoutOfSamples(format);
}

std::string hintFor(AVPixelFormat format) {
  const PictureLayout& closest = closestLayout(format);
  std::string hint = "use --convert auto to convert it to 8-bit 4:2:0";
  if (&closest != &layoutForPlayers())
    hint += ", or --convert " + fourccText(closest.fourcc) + " to keep more of its chroma";
  return hint;
}

int bitsOf(AVPixelFormat format) { return av_pix_fmt_desc_get(format)->comp[0].depth; }

}  // namespace

FramePreparation::FramePreparation(std::string input, const AVStream& stream, const AVFrame& first,
                                   const Options& options, StoredSamples stored)
    : input_(std::move(input)),
      stream_(stream),
      turns_(options.rotate),
      displayMatrix_(displayMatrixOf(stream, first)),
      orientation_(orientationOf(first)) {
  const auto format = static_cast<AVPixelFormat>(first.format);
  layout_ = &chooseLayout(first, options, stored);
  turnsIn_ = &layoutToTurn(format, options);
  losesBits_ = bitsOf(format) > 8;
  warnOfLosses(first);
  if (exactLayoutOf(format) != turnsIn_)
    before_ =
        std::make_unique<LayoutConverter>(first, *turnsIn_, stored.asRgb || stored.inFullRange);
  if (turnsIn_ != layout_) {
    const FramePtr like = emptyFrameLike(first);
    std::swap(like->width, like->height);
    like->format = turnsIn_->pixelFormat;
    afterwards_ = std::make_unique<LayoutConverter>(*like, *layout_);
  }
  if (!orientation_.isUpright()) displayMatrix_.reset();
}

const PictureLayout& FramePreparation::chooseLayout(const AVFrame& first, const Options& options,
                                                    StoredSamples stored) const {
  const auto format = static_cast<AVPixelFormat>(first.format);
  if (options.convert) return *layoutOfFourcc(*options.convert);
  if (const PictureLayout* const exact = exactLayoutOf(format)) return *exact;
  const bool returnsToRgb = stored.asRgb && isRgb(format) && bitsOf(format) <= 8;
  if (returnsToRgb && (options.convertAsNeeded || !isTransparent(first))) return fullChroma();
  if (options.convertAsNeeded) return layoutForPlayers();
  if (returnsToRgb)
    throw Failure(
        input_ +
        ": the picture is transparent, and marked pictures are opaque; use --convert auto "
        "to drop its alpha channel");
  throw Failure(input_ + ": the pixel format " + av_get_pix_fmt_name(format) +
                " is not supported by the module (8-bit planar 4:2:0, 4:2:2 or 4:4:4 only); " +
                hintFor(format));
}

// Frames that have a layout of the module keep their samples when they are turned, except 4:2:2.
const PictureLayout& FramePreparation::layoutToTurn(AVPixelFormat format, const Options& options) {
  if (canTurn(*layout_, orientation_)) return *layout_;
  if (options.convert) return fullChroma();
  if (!options.convertAsNeeded)
    throw Failure(
        input_ + ": players turn this " + av_get_pix_fmt_name(format) +
        " video by 90 degrees, and 4:2:2 does not exist in this direction; use --convert "
        "auto to convert it to 4:2:0, --convert Y44P to keep its chroma, or --no-rotate to "
        "mark it as stored");
  layout_ = &layoutForPlayers();
  return *layout_;
}

// Frames may have display matrices of their own, such as photos of a sequence.
Orientation FramePreparation::orientationOf(const AVFrame& decoded) const {
  const auto matrix = turns_ ? displayMatrixOf(stream_, decoded) : std::nullopt;
  return matrix ? cmhost::orientationOf(*matrix).value_or(Orientation()) : Orientation();
}

void FramePreparation::warnOfLosses(const AVFrame& first) const {
  if (isTransparent(first)) printWarning(input_ + ": the alpha channel of the video is dropped");
  if (losesBits_ && hasHdrMetadata(stream_, first))
    printWarning(input_ +
                 ": the HDR metadata of the video is dropped: it does not hold for 8 bits");
  if (orientation_.swapsAxes && isInterlacedFrame(first))
    printWarning(input_ +
                 ": interlaced video is turned by 90 degrees and written as progressive: its "
                 "fields become columns");
}

FramePtr FramePreparation::inLayout(FramePtr decoded) const {
  if (before_ != nullptr) return before_->convert(*decoded);
  if (layoutOf(static_cast<AVPixelFormat>(decoded->format)) == nullptr) return asPlanes(*decoded);
  return decoded;
}

bool FramePreparation::turnsLikeFirst(const AVFrame& decoded) const {
  return orientationOf(decoded).swapsAxes == orientation_.swapsAxes;
}

FramePtr FramePreparation::prepare(FramePtr decoded) const {
  const Orientation orientation = turnsLikeFirst(*decoded) ? orientationOf(*decoded) : orientation_;
  FramePtr frame = inLayout(std::move(decoded));
  // From here on, the range is a tag and not part of the pixel format.
  if (frame->format == turnsIn_->fullRangePixelFormat) frame->color_range = AVCOL_RANGE_JPEG;
  if (!orientation.isUpright()) frame = turned(*frame, *turnsIn_, orientation);
  if (afterwards_ != nullptr) frame = afterwards_->convert(*frame);
  if (losesBits_) removeHdrMetadata(*frame);
  return frame;
}

}  // namespace cmhost
