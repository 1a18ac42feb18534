// Every allocation of the resizer fails once: the exception is thrown, nothing leaks, and the
// object remains usable.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

#include "signal/vector_primitives.h"
#include "tests/signal/variant_scope.h"
#include "tests/support/failing_allocator.h"
#include "tests/video/resize/reference_resizer.h"
#include "tests/video/resize/resizer_under_test.h"

namespace ns_video_resize {
namespace {

using test_support::allocation_outcome;
using test_support::fail_allocation;
using test_support::fail_every_allocation;
using bytes = std::vector<unsigned char>;

constexpr unsigned char untouched = 0x5A;

class resizer {
 public:
  explicit resizer(int space) : object_(create(space)) {}
  ~resizer() { qor_resize::destroy(object_); }
  resizer(const resizer&) = delete;
  resizer& operator=(const resizer&) = delete;

  int init(const resize_request& r) {
    return object_->init(r.out_width, r.out_height, r.in_width, r.in_height,
                         static_cast<qor_resize::colorspace>(r.space), r.crop_left, r.crop_right,
                         r.crop_top, r.crop_bottom, r.aspect_preset, r.aspect_x, r.aspect_y,
                         r.resize_mode, r.fit_mode, r.kernel_param, r.interpolation, r.smoothing,
                         r.smoothing_level);
  }

  unsigned int output_size() { return static_cast<unsigned int>(object_->get_output_size()); }

  void process(bytes& frame, bytes& out) {
    unsigned int out_size = 0;
    object_->process(static_cast<unsigned int>(frame.size()), frame.data(), out_size, out.data());
  }

  static qor_resize* create(int space) {
    return qor_resize::create(static_cast<qor_resize::colorspace>(space));
  }

 private:
  qor_resize* object_;
};

// The result of the reference implementation for a frame, in a buffer filled with `untouched`.
bytes expected_output(const resize_request& request, const bytes& frame) {
  reference::reference_resizer second;
  EXPECT_EQ(second.init(request), 1);
  const reference::expected_frame expected =
      second.process(static_cast<unsigned int>(frame.size()), frame.data());
  bytes out(expected.bytes.size(), untouched);
  for (std::size_t i = 0; i < out.size(); ++i) {
    if (expected.written[i] != 0) out[i] = expected.bytes[i];
  }
  return out;
}

bytes whole_frame(const resize_request& request) {
  reference::reference_resizer second;
  second.init(request);
  std::mt19937 random(7);
  bytes frame(second.input_size());
  for (unsigned char& byte : frame) byte = static_cast<unsigned char>(random());
  return frame;
}

void expect_serves(resizer& object, const resize_request& request, bytes frame) {
  bytes out(object.output_size(), untouched);
  object.process(frame, out);
  EXPECT_EQ(out, expected_output(request, frame));
}

// A strong reduction of a cropped source, smoothed with the large mask.
resize_request reduction(int space, int resize_mode) {
  resize_request request = scale_request(space, 64, 48, 14, 10);
  request.crop_left = 2;
  request.crop_bottom = 4;
  request.resize_mode = resize_mode;
  request.smoothing = 1;
  return request;
}

std::vector<resize_request> requests() {
  std::vector<resize_request> all;
  for (int space = 1; space <= 8; ++space) {
    for (const int resize_mode : {0, 1, 2}) all.push_back(reduction(space, resize_mode));
    for (int interpolation = 0; interpolation <= 4; ++interpolation) {
      all.push_back(scale_request(space, 8, 6, 21, 13, interpolation));
    }
    all.push_back(scale_request(space, 8, 6, 0, 13));
    all.push_back(scale_request(space, 8, 6, 8, 6));
  }
  return all;
}

TEST(AllocationFailure, InCreate) {
  for (int space = 0; space <= 9; ++space) {
    const std::size_t allocations = fail_every_allocation([space](std::size_t index) {
      qor_resize* object = nullptr;
      const allocation_outcome outcome =
          fail_allocation(index, [&object, space] { object = resizer::create(space); });
      EXPECT_EQ(object != nullptr, outcome == allocation_outcome::not_reached);
      qor_resize::destroy(object);
      return outcome;
    });
    EXPECT_GT(allocations, 0U);
  }
}

// Without a plan there is no output, and `process` writes nothing.
void expect_no_plan(resizer& object) {
  EXPECT_EQ(object.output_size(), 0U);
  bytes frame(64 * 48 * 8, 1);
  bytes out(64 * 48 * 8, untouched);
  object.process(frame, out);
  EXPECT_EQ(out, bytes(out.size(), untouched));
}

void expect_init_recovers(const resize_request& request, const resize_request* earlier) {
  const std::size_t allocations = fail_every_allocation([&](std::size_t index) {
    resizer object(request.created_for);
    if (earlier != nullptr) object.init(*earlier);
    int result = 0;
    const allocation_outcome outcome =
        fail_allocation(index, [&] { result = object.init(request); });
    if (outcome == allocation_outcome::thrown) {
      expect_no_plan(object);
      result = object.init(request);
    }
    EXPECT_EQ(result, 1);
    expect_serves(object, request, whole_frame(request));
    return outcome;
  });
  EXPECT_GT(allocations, 0U);
}

TEST(AllocationFailure, InInit) {
  for (const resize_request& request : requests()) {
    SCOPED_TRACE(testing::Message() << request);
    expect_init_recovers(request, nullptr);
    if (HasFailure()) return;
  }
}

TEST(AllocationFailure, InASecondInit) {
  for (int space = 1; space <= 8; ++space) {
    const resize_request earlier = scale_request(space, 8, 6, 21, 13);
    const resize_request request = reduction(space, 2);
    SCOPED_TRACE(testing::Message() << request);
    expect_init_recovers(request, &earlier);
    if (HasFailure()) return;
  }
}

// Destruction without another `init`, in every state that a failure can cause.
TEST(AllocationFailure, InInitAndTheObjectIsGivenUp) {
  for (int space = 1; space <= 8; ++space) {
    fail_every_allocation([space](std::size_t index) {
      resizer object(space);
      return fail_allocation(index, [&] { object.init(reduction(space, 2)); });
    });
  }
}

std::size_t allocations_of_process(const resize_request& request, const bytes& given) {
  return fail_every_allocation([&](std::size_t index) {
    resizer object(request.created_for);
    EXPECT_EQ(object.init(request), 1);
    bytes frame = given;
    bytes out(object.output_size());
    const allocation_outcome outcome = fail_allocation(index, [&] { object.process(frame, out); });
    EXPECT_EQ(frame, given);
    expect_serves(object, request, given);
    return outcome;
  });
}

TEST(AllocationFailure, InProcessWhileSmoothing) {
  for (int space = 1; space <= 8; ++space) {
    for (const int resize_mode : {0, 2}) {
      const resize_request request = reduction(space, resize_mode);
      SCOPED_TRACE(testing::Message() << request);
      EXPECT_GT(allocations_of_process(request, whole_frame(request)), 0U);
      if (HasFailure()) return;
    }
  }
}

TEST(AllocationFailure, InProcessOfAShortFrame) {
  for (int space = 1; space <= 8; ++space) {
    resize_request request = reduction(space, 0);
    request.smoothing = 0;
    SCOPED_TRACE(testing::Message() << request);
    bytes frame = whole_frame(request);
    EXPECT_EQ(allocations_of_process(request, frame), 0U);
    frame.resize(frame.size() / 2 + 1);
    EXPECT_GT(allocations_of_process(request, frame), 0U);
    if (HasFailure()) return;
  }
}

template <typename T>
void expect_cropping_in_place_recovers(qor_resize::colorspace space, bool alpha) {
  crop<T> cropper;
  ASSERT_EQ(cropper.init(space, false, 12, 8, 0, 0), 1);
  cropper.user_left = 4;
  cropper.crop_valid = true;
  int width = 0;
  int height = 0;
  ASSERT_EQ(cropper.set_out_ratio(8, 8, 0, &width, &height), 1);
  const auto run = [&cropper, alpha](T* src, T* dst) {
    alpha ? cropper.process_a_yp_cb_cr_plan(src, dst) : cropper.process_yp_cb_cr_plan(src, dst);
  };
  const std::size_t allocations = fail_every_allocation([&](std::size_t index) {
    std::vector<T> given(12 * 8 * 4);
    for (std::size_t i = 0; i < given.size(); ++i) given[i] = static_cast<T>(i * 7 + 1);
    std::vector<T> frame = given;
    const allocation_outcome outcome = fail_allocation(index, [&] { run(frame.data(), nullptr); });
    if (outcome == allocation_outcome::thrown) {
      EXPECT_EQ(frame, given);
      run(frame.data(), nullptr);
    }
    std::vector<T> expected = given;
    run(given.data(), expected.data());
    EXPECT_EQ(frame, expected);
    return outcome;
  });
  EXPECT_GT(allocations, 0U);
}

TEST(AllocationFailure, InCroppingInPlace) {
  expect_cropping_in_place_recovers<unsigned char>(qor_resize::yuv420, false);
  expect_cropping_in_place_recovers<unsigned char>(qor_resize::ayuv422, true);
  expect_cropping_in_place_recovers<unsigned short>(qor_resize::yuv444_16, false);
}

void* no_memory(std::size_t) { return nullptr; }

// The filter's scratch rows are not allocated with `new`. Without them it does not change the
// plane, and the frame is scaled unsmoothed.
TEST(AllocationFailure, InTheFiltersScratch) {
  for (const int resize_mode : {0, 2}) {
    const resize_request request = reduction(qor_resize::ayuv422, resize_mode);
    resize_request unsmoothed = request;
    unsmoothed.smoothing = 0;
    resizer object(request.created_for);
    ASSERT_EQ(object.init(request), 1);
    const bytes frame = whole_frame(request);
    const variant_scope with_scratch(ns_signal::portable_variant);
    i_malloc = no_memory;
    expect_serves(object, unsmoothed, frame);
    i_malloc = std::malloc;
    expect_serves(object, request, frame);
  }
}

}  // namespace
}  // namespace ns_video_resize
