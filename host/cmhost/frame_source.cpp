#include "host/cmhost/frame_source.h"

#include <string>
#include <utility>

extern "C" {
#include <libavutil/pixdesc.h>
}

#include "host/cmhost/module/module.h"
#include "host/cmhost/support/failure.h"
#include "host/cmhost/support/interruption.h"
#include "host/cmhost/support/messages.h"

namespace cmhost {

namespace {

// A module may use another code for the same layout. With the code of a different layout, it would
// read past the end of the frames.
unsigned int fourccForModule(const Options& options, unsigned int fourcc) {
  for (const auto& [key, value] : options.keys) {
    if (key != layoutKey) continue;
    if (value != fourcc && layoutOfFourcc(value) != nullptr)
      throw Failure(std::string("--set: ") + layoutKey + "=" + fourccText(value) +
                        " does not match the frame layout " + fourccText(fourcc) +
                        "; use --convert to convert the frames",
                    exitUsage);
    fourcc = value;
  }
  return fourcc;
}

std::string formatText(int width, int height, int format) {
  const char* const name = av_get_pix_fmt_name(static_cast<AVPixelFormat>(format));
  return std::to_string(width) + "x" + std::to_string(height) + " " +
         (name != nullptr ? name : "?");
}

}  // namespace

FrameSource::FrameSource(Input& input, const Options& options, StoredSamples stored)
    : input_(input), conceals_(options.conceal) {
  FramePtr decoded = input_.nextFrame();
  if (decoded == nullptr) throw interruption::Interrupted();
  width_ = decoded->width;
  height_ = decoded->height;
  format_ = decoded->format;
  preparation_.emplace(input_.name(), input_.source().video, *decoded, options, stored);
  layout_ = preparation_->layout();
  layout_.fourcc = fourccForModule(options, layout_.fourcc);
  first_ = preparation_->prepare(std::move(decoded));
}

Source FrameSource::source() const {
  Source source = input_.source();
  source.displayMatrix = preparation_->displayMatrix();
  source.keepsHdrMetadata = !preparation_->losesBits();
  if (preparation_->swapsAxes()) source.fieldOrder = AV_FIELD_PROGRESSIVE;
  return source;
}

FramePtr FrameSource::next() {
  if (first_ != nullptr) return std::move(first_);
  FramePtr decoded = input_.nextFrame();
  if (decoded == nullptr) return nullptr;
  return preparation_->prepare(likeFirst(std::move(decoded)));
}

FramePtr FrameSource::likeFirst(FramePtr decoded) {
  if (decoded->width == width_ && decoded->height == height_ && decoded->format == format_ &&
      preparation_->turnsLikeFirst(*decoded))
    return decoded;
  const std::string change = "the frame format changes from " +
                             formatText(width_, height_, format_) + " to " +
                             formatText(decoded->width, decoded->height, decoded->format);
  if (conceals_) {
    if (fitter_ == nullptr)
      fitter_ = std::make_unique<FrameFitter>(width_, height_, static_cast<AVPixelFormat>(format_));
    if (FramePtr fitted = fitter_->fit(*decoded); fitted != nullptr) {
      input_.addDamage(change);
      return fitted;
    }
  }
  throw Failure(input_.name() + ": " + change + " at frame " +
                std::to_string(input_.decodedFrames() - 1) + " (" +
                secondsText(input_.lastFrameSeconds()) +
                "); split the video there and mark the parts separately");
}

}  // namespace cmhost
