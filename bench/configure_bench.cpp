// The filter's configuration for 1920 x 1080 frames in 4:2:0, as the sequence of its calls of the
// engines.

#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <optional>
#include <vector>

#include "bench/artwork_size.h"
#include "bench/level.h"
#include "component/filter/video/static_watermark/artwork.h"
#include "video/resize/qor_resize.h"
#include "video/watermark/watermark.h"

namespace ns_bench {
namespace {

using ns_video_resize::qor_resize;
using ns_video_watermark::watermark;
using ns_video_watermark::watermark_config;

using bytes = std::vector<unsigned char>;

struct configured {
  std::shared_ptr<qor_resize> picture_resizer, alpha_resizer;
  std::shared_ptr<watermark> compositor;
  bytes picture, alpha;
};

std::shared_ptr<qor_resize> make_resizer(qor_resize::colorspace space, int method) {
  std::shared_ptr<qor_resize> resizer(qor_resize::create(space), qor_resize::destroy);
  apply_level();
  const auto width = static_cast<int>(artwork_out.width);
  const auto height = static_cast<int>(artwork_out.height);
  resizer->init(width, height, artwork_in.width, artwork_in.height, space, 0, 0, 0, 0, 1,
                static_cast<float>(width), static_cast<float>(height), 0, 0, 0.0f, method, 0, 0);
  return resizer;
}

void scale(qor_resize& resizer, const unsigned char* in, unsigned int in_size, bytes& out) {
  unsigned int size = 0;
  resizer.process(in_size, const_cast<unsigned char*>(in), size, out.data());
}

std::shared_ptr<watermark> make_compositor(configured& parts) {
  std::shared_ptr<watermark> compositor(watermark::create(), watermark::destroy);
  auto* const record = new watermark_config();
  record->frame_width = 1920;
  record->frame_height = 1080;
  record->width = artwork_out.width;
  record->height = artwork_out.height;
  record->x = (1920 - artwork_out.width) / 2;
  record->y = (1080 - artwork_out.height) / 2;
  record->opacity = 100;
  record->hold_last_image = 1;
  record->format = 0;
  unsigned int frame_size = 0;
  compositor->configure(record, frame_size);
  compositor->add_watermark_image(parts.picture.data(), parts.alpha.data());
  return compositor;
}

configured configure() {
  using namespace ns_static_watermark;
  constexpr std::size_t luma_size = std::size_t{artwork_out.width} * artwork_out.height;
  configured parts;
  parts.picture_resizer = make_resizer(qor_resize::yuv422, 3);
  parts.picture.assign(3 * luma_size, 128);
  scale(*parts.picture_resizer, watermark_picture, artwork_picture_size, parts.picture);
  std::memset(parts.picture.data() + luma_size, 128, 2 * luma_size);
  parts.alpha_resizer = make_resizer(qor_resize::ayuv422, 1);
  parts.alpha.assign(3 * luma_size, 0);
  scale(*parts.alpha_resizer, watermark_alpha, artwork_alpha_size, parts.alpha);
  parts.compositor = make_compositor(parts);
  return parts;
}

void ours(benchmark::State& state) {
  for (auto _ : state) {
    std::optional<configured> parts = configure();
    // The module does not free what it allocates.
    state.PauseTiming();
    parts.reset();
    state.ResumeTiming();
  }
}

void copy(benchmark::State& state) {
  const bytes source(3 * std::size_t{artwork_out.width} * artwork_out.height, 1);
  bytes target(source.size());
  for (auto _ : state) {
    std::memcpy(target.data(), source.data(), source.size());
    benchmark::ClobberMemory();
  }
}

[[maybe_unused]] const bool registered =
    benchmark::RegisterBenchmark("configure/1080p/ours", ours) != nullptr &&
    benchmark::RegisterBenchmark("configure/1080p/copy", copy) != nullptr;

}  // namespace
}  // namespace ns_bench
