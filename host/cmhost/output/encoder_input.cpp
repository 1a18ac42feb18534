#include "host/cmhost/output/encoder_input.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

#include <cstddef>
#include <cstdint>
#include <string>

#include "host/cmhost/picture/repacking.h"
#include "host/cmhost/support/failure.h"

namespace cmhost {

namespace {

// The forms of RGB, by preference; alpha is opaque. GIF has only the last one, with 256 colours.
constexpr AVPixelFormat rgbFormats[] = {AV_PIX_FMT_RGB24, AV_PIX_FMT_BGR24, AV_PIX_FMT_GBRP,
                                        AV_PIX_FMT_BGR0,  AV_PIX_FMT_RGBA,  AV_PIX_FMT_BGRA,
                                        AV_PIX_FMT_ARGB,  AV_PIX_FMT_ABGR,  AV_PIX_FMT_BGR8};

// The first format of `formats`, terminated by `AV_PIX_FMT_NONE`, for which `matches` is true.
template <typename Predicate>
AVPixelFormat find(const AVPixelFormat* formats, Predicate matches) {
  while (*formats != AV_PIX_FMT_NONE && !matches(*formats)) ++formats;
  return *formats;
}

bool has(const AVPixelFormat* formats, AVPixelFormat wanted) {
  return find(formats, [wanted](AVPixelFormat each) { return each == wanted; }) == wanted;
}

AVPixelFormat rgbFormatIn(const AVPixelFormat* formats) {
  for (const AVPixelFormat format : rgbFormats)
    if (has(formats, format)) return format;
  return AV_PIX_FMT_NONE;
}

bool isPlanar(AVPixelFormat format) { return layoutOf(format) != nullptr; }

bool isLimited(AVPixelFormat format) {
  const PictureLayout* const layout = layoutOf(format);
  if (layout != nullptr) return layout->pixelFormat == format;
  return format != AV_PIX_FMT_GRAY8 && layoutOfSamples(format) != nullptr;
}

bool readsPictureOnly(AVCodecID codec) {
  return codec == AV_CODEC_ID_RAWVIDEO || codec == AV_CODEC_ID_WRAPPED_AVFRAME ||
         codec == AV_CODEC_ID_FFV1;
}

// Other encoders may read past the end of a picture, as far as the smallest padding that the media
// library allocates.
bool isPadded(const AVFrame& frame) {
  constexpr std::ptrdiff_t leastPadding = 32;
  const auto format = static_cast<AVPixelFormat>(frame.format);
  const AVPixFmtDescriptor& descriptor = *av_pix_fmt_desc_get(format);
  for (int plane = 0; plane < av_pix_fmt_count_planes(format); ++plane) {
    const AVBufferRef* const buffer =
        av_frame_get_plane_buffer(const_cast<AVFrame*>(&frame), plane);
    if (buffer == nullptr) return false;
    const bool isChroma = plane == 1 || plane == 2;
    const int height =
        isChroma ? AV_CEIL_RSHIFT(frame.height, descriptor.log2_chroma_h) : frame.height;
    const std::ptrdiff_t bytes = static_cast<std::ptrdiff_t>(frame.linesize[plane]) * height;
    const std::uint8_t* const bufferEnd = buffer->data + buffer->size;
    if (bufferEnd - frame.data[plane] < bytes + leastPadding) return false;
  }
  return true;
}

FramePtr withPadding(const AVFrame& frame) {
  FramePtr copy = emptyFrameLike(frame);
  allocatePicture(*copy);
  if (av_frame_copy(copy.get(), &frame) < 0) throw std::bad_alloc();
  return copy;
}

// PNG stores these tags as numbers that viewers interpret differently; sRGB is safe.
void describeAsRgb(AVFrame& like) {
  like.colorspace = AVCOL_SPC_RGB;
  like.color_range = AVCOL_RANGE_JPEG;
  like.chroma_location = AVCHROMA_LOC_UNSPECIFIED;
  if (like.color_trc == AVCOL_TRC_IEC61966_2_1) return;
  like.color_primaries = AVCOL_PRI_UNSPECIFIED;
  like.color_trc = AVCOL_TRC_UNSPECIFIED;
}

}  // namespace

bool EncoderInput::storesRgb(const AVCodec& codec) {
  const AVPixelFormat* const formats = pixelFormatsOf(codec);
  return formats != nullptr && find(formats, isPlanar) == AV_PIX_FMT_NONE &&
         find(formats, isLimited) == AV_PIX_FMT_NONE && rgbFormatIn(formats) != AV_PIX_FMT_NONE;
}

bool EncoderInput::storesFullRange(const AVCodec& codec) {
  if (codec.id == AV_CODEC_ID_MJPEG) return true;
  const AVPixelFormat* const formats = pixelFormatsOf(codec);
  return formats != nullptr && find(formats, isPlanar) != AV_PIX_FMT_NONE &&
         find(formats, isLimited) == AV_PIX_FMT_NONE;
}

EncoderInput::EncoderInput(const AVCodec& codec, const PictureLayout& layout, const AVFrame& first,
                           bool keepsRange)
    : like_(emptyFrameLike(first)),
      format_(chooseFormat(codec, layout, keepsRange)),
      needsPadding_(!readsPictureOnly(codec.id)) {
  repacks_ = !isPlanar(format_) && layoutOfSamples(format_) != nullptr;
  const bool expands = format_ == layout.fullRangePixelFormat && !isFullRange(first);
  if (!repacks_ && (expands || !isPlanar(format_))) {
    const FramePtr planar = emptyFrameLike(first);
    planar->format = layout.pixelFormat;
    converter_ = std::make_unique<FormatConverter>(*planar, format_);
  }
  if (isRgb(format_)) describeAsRgb(*like_);
  if (expands) like_->color_range = AVCOL_RANGE_JPEG;
}

AVPixelFormat EncoderInput::chooseFormat(const AVCodec& codec, const PictureLayout& layout,
                                         bool keepsRange) const {
  const AVPixelFormat* const formats = pixelFormatsOf(codec);
  if (formats == nullptr) return layout.pixelFormat;
  const bool hasTwin = has(formats, layout.fullRangePixelFormat);
  const bool isFull = like_->color_range == AVCOL_RANGE_JPEG;
  if (hasTwin && (isFull || (storesFullRange(codec) && !keepsRange)))
    return layout.fullRangePixelFormat;
  if (has(formats, layout.pixelFormat)) return layout.pixelFormat;
  if (hasTwin) return layout.fullRangePixelFormat;
  const AVPixelFormat packed = interleavedFormatOf(layout, formats);
  if (packed != AV_PIX_FMT_NONE) return packed;
  if (storesRgb(codec)) return rgbFormatIn(formats);
  const bool hasLayout = find(formats, isPlanar) != AV_PIX_FMT_NONE;
  throw Failure(std::string("the encoder ") + codec.name + " does not support the pixel format " +
                av_get_pix_fmt_name(layout.pixelFormat) + "; choose another with --encoder" +
                (hasLayout ? " or another layout with --convert" : ""));
}

void EncoderInput::describe(AVCodecContext& encoder) const {
  encoder.width = like_->width;
  encoder.height = like_->height;
  encoder.pix_fmt = format_;
  encoder.color_range = like_->color_range;
  encoder.color_primaries = like_->color_primaries;
  encoder.color_trc = like_->color_trc;
  encoder.colorspace = like_->colorspace;
  encoder.chroma_sample_location = like_->chroma_location;
}

FramePtr EncoderInput::convert(FramePtr frame) {
  if (repacks_) {
    frame = interleaved(*frame, format_);
  } else if (converter_ != nullptr) {
    frame = converter_->convert(*frame);
    frame->color_range = like_->color_range;
    frame->colorspace = like_->colorspace;
  } else if (needsPadding_ && !isPadded(*frame)) {
    frame = withPadding(*frame);
  }
  frame->format = format_;  // may be the full-range variant (YUVJ)
  return frame;
}

}  // namespace cmhost
