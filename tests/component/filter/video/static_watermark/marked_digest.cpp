// Prints digests of generated frames that the built module has marked, one per case: the same lines
// on every processor.

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include "host/cm/video_frame.h"
#include "tests/component/filter/video/static_watermark/test_host.h"

namespace {

using test_host::bytes;

// FNV-1a, 64 bits.
std::uint64_t digest(const unsigned char* data, std::size_t size) {
  std::uint64_t hash = 14695981039346656037U;
  for (std::size_t i = 0; i < size; ++i) hash = (hash ^ data[i]) * 1099511628211U;
  return hash;
}

bytes generated_frame(std::size_t size) {
  bytes frame(size);
  std::uint32_t state = 1;
  for (unsigned char& sample : frame) {
    state = state * 1664525U + 1013904223U;
    sample = static_cast<unsigned char>(state >> 24);
  }
  return frame;
}

}  // namespace

int main() {
  struct layout {
    const char* name;
    unsigned int fourcc, shift_x, shift_y;
  };
  constexpr layout layouts[] = {
      {"IYUV", 0x49595556, 1, 1}, {"Y22P", 0x59323250, 1, 0}, {"Y44P", 0x59343450, 0, 0}};
  constexpr unsigned int sizes[][2] = {{1920, 1080}, {720, 576}, {333, 247}, {1279, 401}};
  const test_host::module library;
  for (const auto& size : sizes) {
    for (const layout& l : layouts) {
      test_host::session session(library, size[0], size[1], l.fourcc);
      std::fputs(session.configure().c_str(), stdout);
      const std::size_t luma = std::size_t{size[0]} * size[1];
      const std::size_t chroma = std::size_t{size[0] >> l.shift_x} * (size[1] >> l.shift_y);
      const bytes picture = generated_frame(luma + 2 * chroma);
      const QOR::RPtr<cm::VideoFrame> frame =
          cm::VideoFrame::create(l.fourcc, static_cast<unsigned int>(picture.size()), {});
      std::memcpy(frame->data(), picture.data(), picture.size());
      session.input->frames.push_back(frame);
      if (!session.filter->process()) return 1;
      const auto* const marked =
          dynamic_cast<const QOR::CM::RVideoFrame*>(session.output->frames.at(0).get());
      if (marked == nullptr) return 1;
      std::printf("%u x %u %s %016" PRIx64 "\n", size[0], size[1], l.name,
                  digest(marked->data(), picture.size()));
    }
  }
  return 0;
}
