// The compositor with the module's artwork, including allocation and release of the new picture,
// from 640 x 360 to 7680 x 4320.

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "component/filter/video/static_watermark/artwork.h"
#include "video/resize/qor_resize.h"
#include "video/watermark/blend_sample.h"
#include "video/watermark/watermark.h"

namespace ns_bench {
namespace {

using ns_video_resize::qor_resize;
using ns_video_watermark::blend_sample;
using ns_video_watermark::watermark;
using ns_video_watermark::watermark_config;

using bytes = std::vector<unsigned char>;

bytes scaled(qor_resize::colorspace space, int method, unsigned int width, unsigned int height,
             const unsigned char* in, unsigned int in_size) {
  using namespace ns_static_watermark;
  const std::shared_ptr<qor_resize> resizer(qor_resize::create(space), qor_resize::destroy);
  resizer->init(static_cast<int>(width), static_cast<int>(height), artwork_width, artwork_height,
                space, 0, 0, 0, 0, 1, static_cast<float>(width), static_cast<float>(height), 0, 0,
                0.0f, method, 0, 0);
  bytes out(static_cast<std::size_t>(resizer->get_output_size()));
  unsigned int size = 0;
  resizer->process(in_size, const_cast<unsigned char*>(in), size, out.data());
  return out;
}

// The artwork as the module scales it for a frame width: to 90% of it.
struct mark {
  unsigned int width, height;
  bytes picture;  // luma, then neutral chroma of the size for 4:4:4
  bytes alpha;

  explicit mark(unsigned int frame_width)
      : width(static_cast<unsigned int>(frame_width * 0.9)),
        height(static_cast<unsigned int>(static_cast<float>(width) / 800.0f * 186.0f)) {
    using namespace ns_static_watermark;
    picture = scaled(qor_resize::yuv422, 3, width, height, watermark_picture, artwork_picture_size);
    picture.resize(std::size_t{width} * height);
    picture.resize(3 * picture.size(), 128);
    alpha = scaled(qor_resize::ayuv422, 1, width, height, watermark_alpha, artwork_alpha_size);
  }
};

const mark& mark_of(unsigned int frame_width) {
  static std::map<unsigned int, std::unique_ptr<mark>> made;
  std::unique_ptr<mark>& one = made[frame_width];
  if (one == nullptr) one = std::make_unique<mark>(frame_width);
  return *one;
}

watermark_config centred(const mark& m, unsigned int width, unsigned int height,
                         unsigned int format) {
  const unsigned int x = (width - m.width) / 2;
  const unsigned int y = (height - m.height) / 2;
  return {width, height, m.width, m.height, x, y, 100, format, 1};
}

unsigned int shift_x(const watermark_config& c) { return c.format == 2 ? 0 : 1; }
unsigned int shift_y(const watermark_config& c) { return c.format == 0 ? 1 : 0; }

std::size_t frame_size(const watermark_config& c) {
  const std::size_t chroma =
      std::size_t{c.frame_width >> shift_x(c)} * (c.frame_height >> shift_y(c));
  return std::size_t{c.frame_width} * c.frame_height + 2 * chroma;
}

bytes noise(std::size_t size) {
  bytes made(size);
  unsigned int state = 1;
  for (unsigned char& sample : made) {
    state = state * 1664525U + 1013904223U;
    sample = static_cast<unsigned char>(state >> 24);
  }
  return made;
}

using picture = std::unique_ptr<unsigned char[]>;

// Prevents the compiler from removing or delaying the work, then frees the picture.
void use(const picture& made) {
  benchmark::DoNotOptimize(made.get());
  benchmark::ClobberMemory();
}

void ours(benchmark::State& state, unsigned int width, unsigned int height, unsigned int format) {
  const mark& m = mark_of(width);
  const watermark_config settings = centred(m, width, height, format);
  bytes frame = noise(frame_size(settings));
  const std::shared_ptr<watermark> compositor(watermark::create(), watermark::destroy);
  unsigned int size = 0;
  compositor->configure(new watermark_config(settings), size);
  bytes image = m.picture;
  bytes alpha = m.alpha;
  compositor->add_watermark_image(image.data(), alpha.data());
  for (auto _ : state) use(picture(compositor->process(frame.data())));
}

void copy(benchmark::State& state, unsigned int width, unsigned int height, unsigned int format) {
  const bytes frame = noise(frame_size(centred(mark_of(width), width, height, format)));
  for (auto _ : state) {
    const picture copied(new unsigned char[frame.size()]);
    std::memcpy(copied.get(), frame.data(), frame.size());
    use(copied);
  }
}

// The formula for every sample of the overlay; everything else is copied row by row.
picture literal_loop(const watermark_config& c, const mark& m, const unsigned char* frame) {
  picture made(new unsigned char[frame_size(c)]);
  unsigned char* out = made.get();
  const unsigned char* overlay = m.picture.data();
  for (int plane = 0; plane < 3; ++plane) {
    const unsigned int sx = plane == 0 ? 0 : shift_x(c);
    const unsigned int sy = plane == 0 ? 0 : shift_y(c);
    const std::size_t width = c.frame_width >> sx;
    const std::size_t rows = c.height >> sy;
    const std::size_t blended = c.width >> sx;
    const std::size_t left = c.x >> sx;
    const std::size_t above = width * (c.y >> sy);
    const std::size_t below = width * ((c.frame_height >> sy) - (c.y >> sy) - rows);
    const unsigned char* alpha = m.alpha.data();

    std::memcpy(out, frame, above);
    out += above;
    frame += above;
    for (std::size_t row = 0; row < rows; ++row) {
      std::memcpy(out, frame, left);
      for (std::size_t i = 0; i < blended; ++i) {
        out[left + i] = blend_sample(frame[left + i], overlay[i], alpha[i << sx]);
      }
      const std::size_t end = left + blended;
      std::memcpy(out + end, frame + end, width - end);
      out += width;
      frame += width;
      overlay += blended;
      alpha += (blended << sx) + (sy == 1 ? c.width : 0);
    }
    std::memcpy(out, frame, below);
    out += below;
    frame += below;
  }
  return made;
}

void literal(benchmark::State& state, unsigned int width, unsigned int height,
             unsigned int format) {
  const mark& m = mark_of(width);
  const watermark_config settings = centred(m, width, height, format);
  const bytes frame = noise(frame_size(settings));
  for (auto _ : state) use(literal_loop(settings, m, frame.data()));
}

bool register_all() {
  const struct {
    const char* name;
    unsigned int width, height;
  } sizes[] = {{"360p", 640, 360},
               {"720p", 1280, 720},
               {"1080p", 1920, 1080},
               {"2160p", 3840, 2160},
               {"4320p", 7680, 4320}};
  const char* const layouts[] = {"420", "422", "444"};
  for (unsigned int format = 0; format < 3; ++format) {
    for (const auto& size : sizes) {
      const std::string group =
          std::string("compositor_") + layouts[format] + "/" + size.name + "/";
      const auto add = [&](const char* subject, auto* function) {
        benchmark::RegisterBenchmark((group + subject).c_str(), function, size.width, size.height,
                                     format);
      };
      add("ours", ours);
      add("copy", copy);
      add("literal", literal);
    }
  }
  return true;
}

[[maybe_unused]] const bool registered = register_all();

}  // namespace
}  // namespace ns_bench
