// Every allocation of the compositor fails once: the exception is thrown, nothing leaks, and the
// object remains usable.
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "tests/support/failing_allocator.h"
#include "tests/video/watermark/exact_blend.h"
#include "video/watermark/watermark_impl.h"

namespace {

using ns_video_watermark::watermark;
using ns_video_watermark::watermark_config;
using ns_video_watermark::watermark_impl;
using test_support::allocation_outcome;
using test_support::fail_allocation;
using test_support::fail_every_allocation;
using watermark_test::exact_blend;
using bytes = std::vector<unsigned char>;

// An overlay that covers a 4:4:4 frame, at half its opacity.
constexpr unsigned int width = 6;
constexpr unsigned int height = 4;
constexpr std::size_t picture_size = std::size_t{width} * height * 3;
constexpr watermark_config settings = {width, height, width, height, 0, 0, 50, 2, 1};

// Without an alpha plane, the opacity table changes 255 to 127 everywhere.
constexpr unsigned int half_alpha = 127;

bytes overlay_picture(unsigned char level) { return bytes(picture_size, level); }

bytes frame_picture() {
  bytes frame(picture_size);
  for (std::size_t i = 0; i < frame.size(); ++i) frame[i] = static_cast<unsigned char>(i * 37);
  return frame;
}

void expect_blends(watermark& object, unsigned char overlay_level) {
  bytes frame = frame_picture();
  const exact_blend blend(half_alpha);
  bytes expected;
  for (const unsigned char sample : frame) {
    expected.push_back(static_cast<unsigned char>(blend(sample, overlay_level)));
  }
  const std::unique_ptr<unsigned char[]> out(object.process(frame.data()));
  ASSERT_NE(out, nullptr);
  EXPECT_EQ(bytes(out.get(), out.get() + picture_size), expected);
}

void configure(watermark& object) {
  unsigned int frame_size = 0;
  EXPECT_EQ(object.configure(new watermark_config(settings), frame_size), 0U);
  EXPECT_EQ(frame_size, picture_size);
}

TEST(AllocationFailure, InCreate) {
  const std::size_t allocations = fail_every_allocation([](std::size_t index) {
    watermark* object = nullptr;
    const allocation_outcome outcome =
        fail_allocation(index, [&object] { object = watermark::create(); });
    EXPECT_EQ(object != nullptr, outcome == allocation_outcome::not_reached);
    watermark::destroy(object);
    return outcome;
  });
  EXPECT_GT(allocations, 0U);
}

// The object owns the record from the call on, even if the call fails.
TEST(AllocationFailure, InConfigure) {
  const std::size_t allocations = fail_every_allocation([](std::size_t index) {
    watermark_impl object;
    auto* const record = new watermark_config(settings);
    unsigned int frame_size = 0;
    const allocation_outcome outcome =
        fail_allocation(index, [&] { object.configure(record, frame_size); });
    bytes overlay = overlay_picture(90);
    if (outcome == allocation_outcome::thrown) {
      EXPECT_EQ(object.add_watermark_image(overlay.data(), nullptr), 1U);
      bytes frame = frame_picture();
      EXPECT_EQ(object.process(frame.data()), nullptr);
      EXPECT_EQ(object.config, record);
      EXPECT_EQ(object.configure(record, frame_size), 0U);
    }
    EXPECT_EQ(object.add_watermark_image(overlay.data(), nullptr), 0U);
    expect_blends(object, 90);
    return outcome;
  });
  EXPECT_GT(allocations, 0U);
}

TEST(AllocationFailure, InTheOpacityTableAlone) {
  const std::size_t allocations = fail_every_allocation([](std::size_t index) {
    watermark_impl object;
    configure(object);
    const std::unique_ptr<unsigned char[]> former(object.opacity_table);
    const allocation_outcome outcome =
        fail_allocation(index, [&object] { object.generate_lookup_table(); });
    const bool thrown = outcome == allocation_outcome::thrown;
    EXPECT_EQ(object.opacity_table == former.get(), thrown);
    if (thrown) object.opacity_table = nullptr;
    return outcome;
  });
  EXPECT_GT(allocations, 0U);
}

// Enough images for the sequence itself to grow more than once.
constexpr unsigned char many_images = 200;

TEST(AllocationFailure, InAddingAnImage) {
  std::size_t allocations = 0;
  for (unsigned char earlier = 0; earlier < many_images; ++earlier) {
    allocations += fail_every_allocation([earlier](std::size_t index) {
      watermark_impl object;
      configure(object);
      for (unsigned char i = 0; i < earlier; ++i) {
        object.add_watermark_image(overlay_picture(i).data(), nullptr);
      }
      bytes overlay = overlay_picture(earlier);
      const allocation_outcome outcome = fail_allocation(
          index, [&] { EXPECT_EQ(object.add_watermark_image(overlay.data(), nullptr), 0U); });
      if (outcome == allocation_outcome::thrown) {
        EXPECT_EQ(object.images.size(), earlier);
        EXPECT_EQ(object.add_watermark_image(overlay.data(), nullptr), 0U);
      }
      EXPECT_EQ(object.images.size(), earlier + 1U);
      object.image_index = earlier;
      expect_blends(object, earlier);
      return outcome;
    });
    if (HasFailure()) return;
  }
  EXPECT_GT(allocations, many_images);  // one per image, and those for the growth of the sequence
}

TEST(AllocationFailure, InProcess) {
  const std::size_t allocations = fail_every_allocation([](std::size_t index) {
    watermark_impl object;
    configure(object);
    for (const unsigned char level : {50, 60, 70}) {
      object.add_watermark_image(overlay_picture(level).data(), nullptr);
    }
    expect_blends(object, 50);
    bytes frame = frame_picture();
    const allocation_outcome outcome =
        fail_allocation(index, [&] { delete[] object.process(frame.data()); });
    EXPECT_EQ(frame, frame_picture());
    // The failed frame has not advanced the sequence of images.
    expect_blends(object, outcome == allocation_outcome::thrown ? 60 : 70);
    return outcome;
  });
  EXPECT_GT(allocations, 0U);
}

}  // namespace
