#pragma once

#include "lib/cm/CMExport.h"
#include "lib/cm/RDescription.h"
#include "lib/cm/RPtr.h"

namespace cm {

/// The frame size of a stream.
class CM_API VideoDescription final : public QOR::CM::RDescription {
 public:
  /// `width` and `height` in luma pixels.
  static QOR::RPtr<VideoDescription> create(unsigned int width, unsigned int height);

  unsigned int width() const override { return width_; }
  unsigned int height() const override { return height_; }

 private:
  VideoDescription(unsigned int width, unsigned int height);
  ~VideoDescription() override;

  unsigned int width_;
  unsigned int height_;
};

}  // namespace cm
