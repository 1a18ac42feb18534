#include "host/cmhost/picture/repacking.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>

namespace cmhost {

namespace {

struct Packing {
  AVPixelFormat format;
  AVPixelFormat planar;
};

constexpr Packing packings[] = {
    {AV_PIX_FMT_NV12, AV_PIX_FMT_YUV420P},    {AV_PIX_FMT_NV21, AV_PIX_FMT_YUV420P},
    {AV_PIX_FMT_NV16, AV_PIX_FMT_YUV422P},    {AV_PIX_FMT_YUYV422, AV_PIX_FMT_YUV422P},
    {AV_PIX_FMT_UYVY422, AV_PIX_FMT_YUV422P}, {AV_PIX_FMT_YVYU422, AV_PIX_FMT_YUV422P},
    {AV_PIX_FMT_NV24, AV_PIX_FMT_YUV444P},    {AV_PIX_FMT_NV42, AV_PIX_FMT_YUV444P},
};

constexpr AVPixelFormat grey = AV_PIX_FMT_GRAY8;
constexpr int neutralChroma = 128;

// The samples of one component of a frame: rows of `width` samples, `step` bytes apart.
struct Component {
  std::uint8_t* samples;
  std::ptrdiff_t stride;
  std::ptrdiff_t step;
};

Component componentOf(const AVFrame& frame, int component) {
  const AVComponentDescriptor& each =
      av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format))->comp[component];
  return {frame.data[each.plane] + each.offset, frame.linesize[each.plane], each.step};
}

void copyComponent(const Component& from, const Component& to, PlaneSize size) {
  const auto width = static_cast<std::ptrdiff_t>(size.width);
  for (std::size_t y = 0; y < size.height; ++y) {
    const std::uint8_t* const source = from.samples + static_cast<std::ptrdiff_t>(y) * from.stride;
    std::uint8_t* const target = to.samples + static_cast<std::ptrdiff_t>(y) * to.stride;
    if (from.step == 1 && to.step == 1)
      std::memcpy(target, source, size.width);
    else
      for (std::ptrdiff_t x = 0; x < width; ++x) target[x * to.step] = source[x * from.step];
  }
}

void makeNeutral(const Component& chroma, PlaneSize size) {
  for (std::size_t y = 0; y < size.height; ++y)
    std::memset(chroma.samples + static_cast<std::ptrdiff_t>(y) * chroma.stride, neutralChroma,
                size.width);
}

FramePtr newFrameLike(const AVFrame& frame, AVPixelFormat format) {
  FramePtr result = emptyFrameLike(frame);
  result->format = format;
  allocatePicture(*result);
  return result;
}

}  // namespace

const PictureLayout* layoutOfSamples(AVPixelFormat format) {
  if (format == grey) return layoutOf(AV_PIX_FMT_YUV420P);
  const auto* const found =
      std::find_if(std::begin(packings), std::end(packings),
                   [format](const Packing& each) { return each.format == format; });
  return found != std::end(packings) ? layoutOf(found->planar) : nullptr;
}

FramePtr asPlanes(const AVFrame& frame) {
  const PictureLayout& layout = *layoutOfSamples(static_cast<AVPixelFormat>(frame.format));
  FramePtr result = newFrameLike(frame, layout.pixelFormat);
  const bool isGrey = frame.format == grey;
  if (isGrey && frame.color_range == AVCOL_RANGE_UNSPECIFIED)
    result->color_range = AVCOL_RANGE_JPEG;
  for (int component = 0; component < 3; ++component) {
    const PlaneSize size = filePlane(layout, frame.width, frame.height, component);
    const Component to = componentOf(*result, component);
    if (isGrey && component > 0)
      makeNeutral(to, size);
    else
      copyComponent(componentOf(frame, component), to, size);
  }
  return result;
}

AVPixelFormat interleavedFormatOf(const PictureLayout& layout, const AVPixelFormat* formats) {
  for (const AVPixelFormat* format = formats; *format != AV_PIX_FMT_NONE; ++format) {
    const PictureLayout* const planar = *format != grey ? layoutOfSamples(*format) : nullptr;
    if (planar != nullptr && planar->pixelFormat == layout.pixelFormat) return *format;
  }
  return AV_PIX_FMT_NONE;
}

FramePtr interleaved(const AVFrame& frame, AVPixelFormat format) {
  const PictureLayout& layout = *layoutOfSamples(format);
  FramePtr result = newFrameLike(frame, format);
  for (int component = 0; component < 3; ++component)
    copyComponent(componentOf(frame, component), componentOf(*result, component),
                  filePlane(layout, frame.width, frame.height, component));
  return result;
}

}  // namespace cmhost
