#pragma once

#include <memory>

#include "host/cmhost/picture/format_converter.h"
#include "host/cmhost/picture/picture_layout.h"
#include "host/cmhost/support/av.h"

namespace cmhost {

/// Brings marked frames into a pixel format that the encoder supports: the layout itself, another
/// packing of the same samples, full range for codecs that have no other, or RGB for codecs that
/// store only RGB. Not thread-safe.
class EncoderInput {
 public:
  /// Chooses the format for frames like `first`, which have this layout. Throws `Failure` if the
  /// encoder supports none.
  /// With `keepsRange`, limited range is not expanded where the codec has it as an extension.
  EncoderInput(const AVCodec& codec, const PictureLayout& layout, const AVFrame& first,
               bool keepsRange = false);

  /// Sets size, pixel format and colour tags of the encoder.
  void describe(AVCodecContext& encoder) const;

  /// The frame for the encoder; not copied if it already has the right form.
  FramePtr convert(FramePtr frame);

  /// Whether the codec stores RGB only.
  static bool storesRgb(const AVCodec& codec);

  /// Whether the codec stores full-range video only. Limited range is a non-standard extension of
  /// JPEG.
  static bool storesFullRange(const AVCodec& codec);

 private:
  AVPixelFormat chooseFormat(const AVCodec& codec, const PictureLayout& layout,
                             bool keepsRange) const;

  FramePtr like_;  ///< without pixel data
  AVPixelFormat format_;
  bool repacks_ = false;
  std::unique_ptr<FormatConverter> converter_;  ///< null: the samples stay
  bool needsPadding_;
};

}  // namespace cmhost
