// The Gaussian filter in every variant and with several threads, compared with the reference
// implementation; and its checks of arguments with any values.
#include <vector>

#include "signal/gaussian_filter.h"
#include "tests/fuzz/byte_reader.h"
#include "tests/signal/gaussian_reference.h"
#include "tests/signal/variant_scope.h"

namespace {

using fuzz::byte_reader;
using fuzz::require;

constexpr int most_samples = 4000;

template <typename T>
void run_filter(byte_reader& in) {
  const int mask = in.flag() ? 33 : 55;
  const int width = in.between(1, 300);
  const int height = 1 + in.between(0, 299) % (most_samples / width);
  gaussian_reference::picture<T> picture(width, height, mask == 33 ? 1 : 2);
  in.fill(reinterpret_cast<unsigned char*>(picture.samples.data()),
          picture.samples.size() * sizeof(T));

  static const std::vector<const ns_signal::variant*> variants = runnable_variants();
  const ns_signal::variant* const variant = variants[in.byte() % variants.size()];
  const variant_scope scope(*variant, in.between(1, 4));
  const int src_padding = in.between(0, 40);
  const int dst_padding = in.between(0, 40);
  const int fill = in.flag() ? 0x55 : 0xAA;
  const gaussian_reference::outcome<T> out =
      gaussian_reference::run(picture, mask, src_padding, dst_padding, fill, in.flag());
  require(out.status == 0, "status of a run");
  require(out.rest_untouched, "a byte between the rows was written");
  require(out.region == gaussian_reference::filter(picture, mask), "a sample");
}

// Invalid arguments; the pointers do not point to memory.
template <typename T>
void run_checks(byte_reader& in) {
  const test_support::protected_edge edge = test_support::protected_edge::end;
  test_support::guarded_buffer nothing(0, edge, fuzz::pattern_of(edge));
  auto* const somewhere = reinterpret_cast<T*>(nothing.data());
  const T* const src = in.byte() == 0 ? nullptr : somewhere;
  T* const dst = in.byte() == 0 ? nullptr : somewhere;
  const IppiSize roi = {in.size(2), in.size(2)};
  const int src_step = in.size(2);
  const int dst_step = in.size(2);
  const int mask = in.flag() ? (in.flag() ? 33 : 55) : in.size(60);
  int expected = 0;
  if (mask != 33 && mask != 55) expected = -33;
  if (src_step < 1 || dst_step < 1) expected = -14;
  if (roi.width < 1 || roi.height < 1) expected = -6;
  if (src == nullptr || dst == nullptr) expected = -8;
  if (expected == 0) return;
  require(gaussian_reference::call(src, src_step, dst, dst_step, roi, mask) == expected,
          "status of a refusal");
  fuzz::require_undamaged(nothing);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  byte_reader in(data, size);
  switch (in.byte() % 8) {
    case 0:
      run_checks<unsigned char>(in);
      break;
    case 1:
      run_checks<unsigned short>(in);
      break;
    case 2:
    case 3:
      run_filter<unsigned short>(in);
      break;
    default:
      run_filter<unsigned char>(in);
      break;
  }
  return 0;
}
