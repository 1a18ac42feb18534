#include "component/filter/video/static_watermark/static_watermark.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

#include "component/filter/video/static_watermark/artwork.h"
#include "video/resize/qor_resize.h"
#include "video/watermark/watermark.h"

namespace {

using ns_video_resize::qor_resize;
using ns_video_watermark::watermark_config;
using QOR::CM::RDescription;
using QOR::CM::RVideoFrame;

constexpr unsigned int fourcc(const char (&name)[5]) {
  unsigned int code = 0;
  for (int i = 0; i < 4; ++i) code = code << 8 | static_cast<unsigned char>(name[i]);
  return code;
}

// Truncates toward zero. A value outside the range of int becomes the lowest int, which is not a
// valid size or position.
int truncated(double value) {
  const bool holds = value > -2147483649.0 && value < 2147483648.0;
  return holds ? static_cast<int>(value) : std::numeric_limits<int>::min();
}

[[noreturn]] void fail(int line, const QOR::CString& message) {
  throw QOR::CException(
      "QOR::CException", line, "component/filter/video/static_watermark/static_watermark",
      "virtual Result static_watermark::configure(QOR::CM::RFilterConfiguration &)", message);
}

unsigned int compositor_format(unsigned int code) {
  switch (code) {
    case fourcc("Y44P"):
      return 2;
    case fourcc("Y22P"):
      return 1;
    case fourcc("IYUV"):
      return 0;
    default:
      fail(196, QOR::CString::createWithFormat("*** ERROR ***: Incorrect colorspace"));
  }
}

// A block that is never freed, with every byte set to `value`.
unsigned char* keep_block(std::size_t size, int value) {
  void* const block = std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) throw std::bad_alloc();
  return static_cast<unsigned char*>(std::memset(block, value, size));
}

qor_resize* make_resizer(qor_resize::colorspace space, int width, int height, int interpolation) {
  qor_resize* const resizer = qor_resize::create(space);
  resizer->init(width, height, ns_static_watermark::artwork_width,
                ns_static_watermark::artwork_height, space, 0, 0, 0, 0, 1,
                static_cast<float>(width), static_cast<float>(height), 0, 0, 0.0f, interpolation, 0,
                0);
  return resizer;
}

// Scales `size` bytes of the artwork and returns the resizer's result. The resizer only reads its
// input.
int scale(qor_resize& resizer, unsigned int size, const unsigned char* artwork,
          unsigned char* scaled) {
  unsigned int scaled_size = 0;
  return resizer.process(size, const_cast<unsigned char*>(artwork), scaled_size, scaled);
}

std::size_t output_size(qor_resize& resizer) {
  return static_cast<std::size_t>(resizer.get_output_size());
}

}  // namespace

QOR::Result static_watermark::configure(QOR::CM::RFilterConfiguration& config) {
  const QOR::RPtr<RDescription> description = inputReaders().at(0)->getDescription();
  frame_width = description->width();
  frame_height = description->height();
  outputWriters().at(0)->setDescription(description);

  const int width = truncated(static_cast<double>(frame_width) * 0.9);
  const int height = static_cast<int>(static_cast<float>(width) / 800.0f * 186.0f);

  image_resizer = make_resizer(qor_resize::yuv422, width, height, 3);
  const std::size_t picture_size = output_size(*image_resizer);
  // 4:2:2 has two samples per pixel; for 4:4:4 the compositor needs three.
  unsigned char* const picture = keep_block(picture_size / 2 * 3, 128);
  const int picture_result = scale(*image_resizer, ns_static_watermark::artwork_picture_size,
                                   ns_static_watermark::watermark_picture, picture);
  std::printf("Size: %d, %d, %d, %d\n", width, height, image_resizer->get_output_size(),
              picture_result);
  // The artwork has no colour, but at the picture's borders the B-spline gives values below its
  // level, and with odd widths the alpha of chroma is shifted, so that the borders would be
  // visible.
  const std::size_t luma_size = picture_size / 2;
  std::memset(picture + luma_size, 128, 2 * luma_size);

  alpha_resizer = make_resizer(qor_resize::ayuv422, width, height, 1);
  const std::size_t alpha_size = output_size(*alpha_resizer);
  unsigned char* const alpha = keep_block(alpha_size, 0);
  // Only the alpha plane is passed: the missing picture planes count as neutral, and their result
  // is not used.
  const int alpha_result = scale(*alpha_resizer, ns_static_watermark::artwork_alpha_size,
                                 ns_static_watermark::watermark_alpha, alpha);
  std::printf("Alpha Size: %d, %d, %d, %d\n", width, height, alpha_resizer->get_output_size(),
              alpha_result);

  watermark_width = width;
  watermark_height = height;
  watermark_x = 0;
  watermark_y = 0;
  reserved16 = 0xFFFF;
  opacity = 100;

  const unsigned int format_code = config.getFourCC("system_informat", fourcc("AYUV"));

  watermark_x = truncated(static_cast<double>(frame_width) * 0.5 -
                          static_cast<double>(watermark_width) * 0.5);
  watermark_y = truncated(static_cast<double>(frame_height) * 0.5 -
                          static_cast<double>(watermark_height) * 0.5);

  auto* const record = new watermark_config();
  record->frame_width = frame_width;
  record->frame_height = frame_height;
  record->width = static_cast<unsigned int>(watermark_width);
  record->height = static_cast<unsigned int>(watermark_height);
  record->x = static_cast<unsigned int>(watermark_x);
  record->y = static_cast<unsigned int>(watermark_y);
  record->opacity = opacity;
  record->hold_last_image = 1;
  record->format = compositor_format(format_code);
  output_fourcc = format_code;

  compositor = ns_video_watermark::watermark::create();
  if (compositor->configure(record, frame_size) != 0) {
    fail(203, QOR::CString::createWithFormat("*** ERROR ***: Error configuring watermark."));
  }

  // A resizer that rejected its plan has scaled nothing.
  const std::int64_t pixels = std::int64_t{width} * height;
  const bool is_scaled = static_cast<std::int64_t>(picture_size) == 2 * pixels &&
                         static_cast<std::int64_t>(alpha_size) == 3 * pixels;
  if (is_scaled) compositor->add_watermark_image(picture, alpha);
  return 0;
}

bool static_watermark::process() {
  const QOR::RPtr<RVideoFrame> frame = inputReaders().at(0)->nextFrame();
  if (!frame) return false;
  QOR::CM::RQFrameWriter& writer = *outputWriters().at(0);

  std::unique_ptr<unsigned char[]> picture;
  if (compositor != nullptr) picture.reset(compositor->process(frame->data()));
  if (picture == nullptr) {
    writer.put(frame);
    return true;
  }

  const QOR::RPtr<RVideoFrame> marked = RVideoFrame::createWithData(
      frame.get(), output_fourcc, frame_size, picture.get(), 0, QOR::ConstructionCopyData);
  picture.reset();
  writer.put(marked);
  return true;
}

/// The module's only entry point: returns a new, unconfigured component, which the caller owns and
/// deletes.
extern "C" __attribute__((visibility("default"))) QOR::CM::RComponent* getComponentInstance() {
  return new static_watermark();
}
