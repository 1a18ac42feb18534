// Uses each of the engines like a user of the package. The exit status is the number of the check
// that failed.
#include <memory>
#include <vector>

#include "signal/gaussian_filter.h"
#include "signal/processor_variant.h"
#include "signal/vector_primitives.h"
#include "video/resize/qor_resize.h"
#include "video/watermark/watermark.h"

namespace {

bool primitivesAdd() {
  const std::vector<float> twos(100, 2.0f);
  std::vector<float> sums(100);
  return ippsAdd_32f(twos.data(), twos.data(), sums.data(), 100) == 0 &&
         sums == std::vector<float>(100, 4.0f);
}

// A flat picture stays flat with any kernel.
bool resizerScales() {
  using ns_video_resize::qor_resize;
  qor_resize* const resizer = qor_resize::create(qor_resize::yuv420);
  const int planned = resizer->init(16, 8, 8, 4, qor_resize::yuv420, 0, 0, 0, 0, 0, 0.0f, 0.0f, 0,
                                    0, -0.5f, 1, 0, 0);
  std::vector<unsigned char> in(8 * 4 * 3 / 2, 77);
  std::vector<unsigned char> out(16 * 8 * 3 / 2);
  unsigned int size = 0;
  resizer->process(static_cast<unsigned int>(in.size()), in.data(), size, out.data());
  qor_resize::destroy(resizer);
  return planned == 1 && size == out.size() && out == std::vector<unsigned char>(out.size(), 77);
}

// An opaque overlay replaces the picture beneath it.
bool compositorBlends() {
  using namespace ns_video_watermark;
  watermark* const compositor = watermark::create();
  auto* const config = new watermark_config{4, 4, 2, 2, 2, 2, 100, 0, 1};
  unsigned int size = 0;
  unsigned char overlay[6] = {200, 200, 200, 200, 90, 91};
  std::vector<unsigned char> frame(24, 50);
  const bool ready = compositor->configure(config, size) == 0 && size == frame.size() &&
                     compositor->add_watermark_image(overlay, nullptr) == 0;
  const std::unique_ptr<unsigned char[]> picture(compositor->process(frame.data()));
  watermark::destroy(compositor);
  std::vector<unsigned char> expected = frame;
  expected[10] = expected[11] = expected[14] = expected[15] = 200;
  expected[19] = 90;
  expected[23] = 91;
  return ready && std::vector<unsigned char>(picture.get(), picture.get() + size) == expected;
}

}  // namespace

int main() {
  ippStaticInit();
  if (!primitivesAdd()) return 1;
  if (!resizerScales()) return 2;
  if (!compositorBlends()) return 3;
  return 0;
}
