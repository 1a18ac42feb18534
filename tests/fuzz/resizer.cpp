// Plans and frames of the resizer in every processor variant, compared byte for byte with the
// reference implementation.
#include <algorithm>
#include <memory>
#include <vector>

#include "tests/fuzz/byte_reader.h"
#include "tests/signal/variant_scope.h"
#include "tests/video/resize/reference_resizer.h"
#include "video/resize/qor_resize.h"

namespace {

using fuzz::byte_reader;
using fuzz::require;
using ns_video_resize::qor_resize;
using reference::expected_frame;
using reference::reference_resizer;
using reference::resize_request;
using test_support::guarded_buffer;

using resizer_ptr = std::unique_ptr<qor_resize, void (*)(qor_resize*)>;

// Plans with more samples per frame are skipped, to limit time and memory.
constexpr double most_samples = 60000;

resize_request read_request(byte_reader& in, int created_for) {
  resize_request r;
  r.created_for = created_for;
  r.space = in.flag() ? created_for : in.size(9);
  r.in_width = in.size(120);
  r.in_height = in.size(120);
  if (in.byte() < 250) {
    r.in_width &= ~1;
    r.in_height &= ~1;
  }
  r.out_width = in.size(120);
  r.out_height = in.size(120);
  if (in.flag()) {
    r.crop_left = in.size(60);
    r.crop_right = in.size(60);
    r.crop_top = in.size(60);
    r.crop_bottom = in.size(60);
  }
  r.aspect_preset = in.between(0, 7);
  if (in.flag()) {
    r.aspect_x = in.number();
    r.aspect_y = in.number();
  } else {
    r.aspect_x = static_cast<float>(in.byte());
    r.aspect_y = static_cast<float>(in.byte());
  }
  r.resize_mode = in.between(0, 3);
  r.fit_mode = in.size(3);
  r.kernel_param = in.flag() ? in.number() : -0.5F;
  r.interpolation = in.size(5);
  r.smoothing = in.size(3);
  r.smoothing_level = in.size(100);
  return r;
}

int init(qor_resize& object, const resize_request& r) {
  return object.init(r.out_width, r.out_height, r.in_width, r.in_height,
                     static_cast<qor_resize::colorspace>(r.space), r.crop_left, r.crop_right,
                     r.crop_top, r.crop_bottom, r.aspect_preset, r.aspect_x, r.aspect_y,
                     r.resize_mode, r.fit_mode, r.kernel_param, r.interpolation, r.smoothing,
                     r.smoothing_level);
}

// A complete frame, a shorter one or a longer one.
void run_frame(byte_reader& in, qor_resize& object, const reference_resizer& second) {
  unsigned int size = second.input_size();
  switch (in.byte() % 8) {
    case 0:
      size = static_cast<unsigned int>(in.word() % (size + 1U));
      break;
    case 1:
      size += static_cast<unsigned int>(in.byte());
      break;
    default:
      break;
  }
  const test_support::protected_edge edge = in.edge();
  guarded_buffer source(size, edge, fuzz::pattern_of(edge));
  in.fill(source.data(), size);
  const std::vector<unsigned char> before(source.data(), source.data() + size);
  guarded_buffer target(second.output_size(), edge, fuzz::pattern_of(edge));
  unsigned char* const address = in.byte() == 1 ? nullptr : source.data();
  const expected_frame expected = second.process(size, address);

  constexpr unsigned int untouched = 0xDEADBEEF;
  unsigned int out_size = untouched;
  require(object.process(size, address, out_size, target.data()) == 1, "result of process");
  require(out_size == expected.out_size.value_or(untouched), "output size");
  require(std::equal(before.begin(), before.end(), source.data()), "the input was written");
  fuzz::require_undamaged(source);
  fuzz::require_undamaged(target);
  for (std::size_t i = 0; i < target.size(); ++i) {
    const unsigned char byte = expected.written[i] != 0 ? expected.bytes[i] : target.fill();
    require(target.data()[i] == byte, "a byte of the output");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  byte_reader in(data, size);
  const int created_for = in.between(0, 9);
  const resizer_ptr object(qor_resize::create(static_cast<qor_resize::colorspace>(created_for)),
                           qor_resize::destroy);
  static const std::vector<const ns_signal::variant*> variants = runnable_variants();
  const ns_signal::variant* const variant = variants[in.byte() % variants.size()];
  const variant_scope scope(*variant, in.between(1, 3));
  do {
    const resize_request request = read_request(in, created_for);
    reference_resizer second;
    const int result = second.init(request);
    if (second.samples() > most_samples) return -1;
    require(init(*object, request) == result, "result of init");
    require(object->get_output_size() == static_cast<int>(second.output_size()),
            "size of the output");
    for (int frames = in.between(0, 2); frames >= 0; --frames) run_frame(in, *object, second);
  } while (in.left() > 16);
  return 0;
}
