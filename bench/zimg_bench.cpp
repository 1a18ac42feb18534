#include <benchmark/benchmark.h>
#include <zimg.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <utility>

#include "bench/artwork_size.h"
#include "bench/level.h"
#include "bench/scaling_benchmark.h"

namespace ns_bench {
namespace {

// zimg's names for the kernels of the resizer's methods.
struct kernel {
  zimg_resample_filter_e filter;
  double a, b;
};

constexpr kernel cubic = {ZIMG_RESIZE_BICUBIC, 0.0, 0.5};
constexpr kernel b_spline = {ZIMG_RESIZE_BICUBIC, 1.0, 0.0};
constexpr kernel linear = {ZIMG_RESIZE_BILINEAR, 0.0, 0.0};

// The level that the resizer is limited to. Without a limit zimg chooses for itself, at most AVX2.
zimg_cpu_type_e processor() {
  if (!is_level_forced()) return ZIMG_CPU_AUTO;
  const std::pair<const char*, zimg_cpu_type_e> levels[] = {{"portable", ZIMG_CPU_NONE},
                                                            {"sse2", ZIMG_CPU_X86_SSE2},
                                                            {"ssse3", ZIMG_CPU_X86_SSSE3},
                                                            {"sse41", ZIMG_CPU_X86_SSE41},
                                                            {"avx2", ZIMG_CPU_X86_AVX2}};
  for (const auto& [name, type] : levels) {
    if (level_name() == name) return type;
  }
  return ZIMG_CPU_AUTO_64B;
}

// The first `plane_count` planes of a picture: one for a grey picture, three for Y'CbCr.
zimg_image_format format_of(const picture& image, picture_layout layout, int plane_count) {
  zimg_image_format format;
  zimg_image_format_default(&format, ZIMG_API_VERSION);
  format.width = static_cast<unsigned int>(image.planes()[0].width);
  format.height = static_cast<unsigned int>(image.planes()[0].height);
  format.pixel_type = layout.sample_bytes == 1 ? ZIMG_PIXEL_BYTE : ZIMG_PIXEL_WORD;
  format.depth = 8 * layout.sample_bytes;
  format.pixel_range = ZIMG_RANGE_LIMITED;
  if (plane_count == 3) {
    format.color_family = ZIMG_COLOR_YUV;
    format.subsample_w = layout.shift_x;
    format.subsample_h = layout.shift_y;
  }
  return format;
}

// The members have the same names in both kinds of buffer; only one of the two is writable.
template <typename Buffer>
Buffer buffer_of(const picture& image, int plane_count) {
  Buffer buffer = {};
  buffer.version = ZIMG_API_VERSION;
  for (int i = 0; i < plane_count; ++i) {
    const picture::plane& plane = image.planes()[static_cast<std::size_t>(i)];
    buffer.plane[i].data = plane.data;
    buffer.plane[i].stride = plane.stride;
    buffer.plane[i].mask = ZIMG_BUFFER_MAX;
  }
  return buffer;
}

work zimg(const picture& from, const picture& to, picture_layout layout, int plane_count,
          kernel method, zimg_cpu_type_e cpu) {
  zimg_graph_builder_params params;
  zimg_graph_builder_params_default(&params, ZIMG_API_VERSION);
  params.resample_filter = params.resample_filter_uv = method.filter;
  params.filter_param_a = params.filter_param_a_uv = method.a;
  params.filter_param_b = params.filter_param_b_uv = method.b;
  params.cpu_type = cpu;

  const zimg_image_format in = format_of(from, layout, plane_count);
  const zimg_image_format out = format_of(to, layout, plane_count);
  const std::shared_ptr<zimg_filter_graph> graph(zimg_filter_graph_build(&in, &out, &params),
                                                 zimg_filter_graph_free);
  std::size_t scratch_size = 0;
  if (graph == nullptr || zimg_filter_graph_get_tmp_size(graph.get(), &scratch_size) != 0) {
    throw std::runtime_error("zimg: no graph");
  }
  const std::shared_ptr<void> scratch(std::aligned_alloc(64, (scratch_size + 63) / 64 * 64),
                                      std::free);
  const auto source = buffer_of<zimg_image_buffer_const>(from, plane_count);
  const auto target = buffer_of<zimg_image_buffer>(to, plane_count);
  return [=] {
    if (zimg_filter_graph_process(graph.get(), &source, &target, scratch.get(), nullptr, nullptr,
                                  nullptr, nullptr) != 0) {
      throw std::runtime_error("zimg: failed");
    }
  };
}

work cubic_420(const picture& from, const picture& to) {
  return zimg(from, to, yuv420_8, 3, cubic, processor());
}

work cubic_420_wide(const picture& from, const picture& to) {
  return zimg(from, to, yuv420_8, 3, cubic, ZIMG_CPU_AUTO_64B);
}

work cubic_422_16(const picture& from, const picture& to) {
  return zimg(from, to, yuv422_16, 3, cubic, processor());
}

work cubic_422_16_wide(const picture& from, const picture& to) {
  return zimg(from, to, yuv422_16, 3, cubic, ZIMG_CPU_AUTO_64B);
}

// The planes that the module scales at configuration: a 4:2:2 picture and an alpha plane.
void scale_artwork(benchmark::State& state) {
  constexpr std::size_t row_alignment = 64;
  const picture picture_in(yuv422_8, artwork_in.width, artwork_in.height, row_alignment);
  const picture picture_out(yuv422_8, artwork_out.width, artwork_out.height, row_alignment);
  const work scale_picture = zimg(picture_in, picture_out, yuv422_8, 3, b_spline, processor());
  const work scale_alpha = zimg(picture_in, picture_out, yuv422_8, 1, linear, processor());
  for (auto _ : state) {
    scale_picture();
    scale_alpha();
    benchmark::ClobberMemory();
  }
}

[[maybe_unused]] const bool registered =
    register_scaling("cubic_420", "zimg", yuv420_8, cubic_420) &&
    register_scaling("cubic_420", "zimg_512_bit", yuv420_8, cubic_420_wide) &&
    register_scaling("cubic_422_16", "zimg", yuv422_16, cubic_422_16) &&
    register_scaling("cubic_422_16", "zimg_512_bit", yuv422_16, cubic_422_16_wide) &&
    benchmark::RegisterBenchmark("configure/1080p/zimg", scale_artwork) != nullptr;

}  // namespace
}  // namespace ns_bench
