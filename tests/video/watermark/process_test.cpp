#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <random>
#include <vector>

#include "tests/support/guarded_buffer.h"
#include "tests/video/watermark/reference_compositor.h"
#include "video/watermark/blend_blocks.h"
#include "video/watermark/watermark_impl.h"

namespace {

using namespace watermark_test;  // NOLINT(google-build-using-namespace)
using ns_video_watermark::watermark_impl;
using test_support::fill_pattern;
using test_support::guarded_buffer;
using test_support::protected_edge;

bytes noise(std::size_t count, unsigned int seed) {
  std::mt19937 engine(seed);
  bytes made(count);
  made.reserve(1);  // so that an empty vector is not null
  for (unsigned char& b : made) b = static_cast<unsigned char>(engine());
  return made;
}

// The two ways in which every input buffer is guarded: a protected page after its end or before its
// beginning.
struct guard {
  protected_edge edge;
  fill_pattern pattern;
};

constexpr guard guards[] = {{protected_edge::end, fill_pattern::checker},
                            {protected_edge::begin, fill_pattern::inverse_checker}};

// A guarded copy of `data` that must be unchanged when it is destroyed.
class guarded_copy {
 public:
  guarded_copy(const bytes& data, const guard& g)
      : expected_(data), buffer_(data.size(), g.edge, g.pattern) {
    std::copy(data.begin(), data.end(), buffer_.data());
  }
  ~guarded_copy() {
    EXPECT_EQ(buffer_.damage(), "");
    EXPECT_TRUE(std::equal(expected_.begin(), expected_.end(), buffer_.data())) << "input changed";
  }
  guarded_copy(const guarded_copy&) = delete;
  guarded_copy& operator=(const guarded_copy&) = delete;

  unsigned char* data() { return buffer_.data(); }

 private:
  const bytes& expected_;
  guarded_buffer buffer_;
};

struct loaded {
  watermark_config settings;
  bytes image;
  bytes alpha;
  watermark_impl object;

  explicit loaded(const watermark_config& c, const guard& g = guards[0])
      : settings(c), image(noise(image_bytes(c), 1)), alpha(noise(alpha_bytes(c), 2)) {
    unsigned int size = 0;
    EXPECT_EQ(object.configure(new watermark_config(c), size), 0U);
    EXPECT_EQ(size, frame_bytes(c));
    EXPECT_EQ(
        object.add_watermark_image(guarded_copy(image, g).data(), guarded_copy(alpha, g).data()),
        0U);
  }
};

// The picture is a separate array, so a sanitizer detects accesses beyond its end.
bytes process(watermark_impl& object, const bytes& frame, const guard& g = guards[0]) {
  const std::unique_ptr<unsigned char[]> out(object.process(guarded_copy(frame, g).data()));
  if (out == nullptr) {
    ADD_FAILURE() << "no picture";
    return {};
  }
  return bytes(out.get(), out.get() + frame.size());
}

void expect_reference(const watermark_config& c) {
  const bytes frame = noise(frame_bytes(c), 99);
  bytes expected;
  for (const guard& g : guards) {
    loaded l(c, g);
    if (expected.empty()) expected = reference(c, frame, l.image, l.alpha);
    EXPECT_EQ(process(l.object, frame, g), expected)
        << c.frame_width << " x " << c.frame_height << ", overlay " << c.width << " x " << c.height
        << " at " << c.x << ", " << c.y << ", format " << c.format;
  }
}

TEST(Process, AgreesWithAPixelByPixelWalkAtSmallSizes) {
  for (unsigned int format = 0; format < 3; ++format) {
    for (unsigned int frame_width = 1; frame_width <= 7; ++frame_width) {
      for (unsigned int frame_height = 1; frame_height <= 5; ++frame_height) {
        for (unsigned int x = 0; x < frame_width; ++x) {
          for (unsigned int y = 0; y < frame_height; ++y) {
            for (unsigned int width = 0; x + width <= frame_width; ++width) {
              for (unsigned int height = 0; y + height <= frame_height; ++height) {
                expect_reference({frame_width, frame_height, width, height, x, y, 100, format, 1});
              }
            }
          }
        }
      }
    }
  }
}

void expect_reference_at_random_sizes() {
  std::mt19937 engine(20240611);
  const auto up_to = [&engine](unsigned int limit) {
    return static_cast<unsigned int>(engine() % (limit + 1));
  };
  for (int i = 0; i < 200; ++i) {
    watermark_config c = {1 + up_to(150), 1 + up_to(60), 0, 0, 0, 0, 100, up_to(2), up_to(1)};
    c.width = up_to(c.frame_width);
    c.height = up_to(c.frame_height);
    c.x = up_to(c.frame_width - c.width);
    c.y = up_to(c.frame_height - c.height);
    expect_reference(c);
  }
}

TEST(Process, AgreesWithAPixelByPixelWalkAtRandomSizes) { expect_reference_at_random_sizes(); }

TEST(Process, AgreesWithAPixelByPixelWalkWithEveryVariant) {
  using ns_video_watermark::forced_blend_blocks;
  for (const auto& variant : ns_video_watermark::blend_variants()) {
    if (variant.blend == nullptr) continue;
    SCOPED_TRACE(variant.name);
    forced_blend_blocks = variant.blend;
    EXPECT_EQ(ns_video_watermark::fastest_blend_blocks(), variant.blend);
    expect_reference_at_random_sizes();
  }
  forced_blend_blocks = nullptr;
}

TEST(Process, AnOverlayAsWideAsTheFrameCopiesNothingBesideIt) {
  for (unsigned int format = 0; format < 3; ++format) {
    expect_reference({33, 20, 33, 9, 0, 4, 100, format, 1});
    expect_reference({33, 20, 33, 20, 0, 0, 100, format, 1});
  }
}

// With an odd width of 5 a chroma row of 4:2:0 uses 2 * 2 alpha samples and skips 5: the second
// chroma row starts at the tenth alpha sample, the last of row 1, not at the first of row 2.
TEST(Process, AlphaOfOddWidthsDriftsToTheLeft) {
  const watermark_config c = {8, 8, 5, 6, 0, 0, 100, 0, 1};
  for (std::size_t opaque = 0; opaque < alpha_bytes(c); ++opaque) {
    watermark_impl object;
    unsigned int size = 0;
    object.configure(new watermark_config(c), size);
    bytes image(image_bytes(c), 200);
    bytes alpha(alpha_bytes(c), 0);
    alpha[opaque] = 255;
    object.add_watermark_image(image.data(), alpha.data());
    const bytes out = process(object, bytes(frame_bytes(c), 10));

    const std::size_t walk[3][2] = {{0, 2}, {9, 11}, {18, 20}};
    for (std::size_t row = 0; row < 3; ++row) {
      for (std::size_t column = 0; column < 2; ++column) {
        const unsigned int expected = walk[row][column] == opaque ? 200 : 10;
        EXPECT_EQ(out[64 + row * 4 + column], expected) << "Cb, alpha sample " << opaque;
        EXPECT_EQ(out[80 + row * 4 + column], expected) << "Cr, alpha sample " << opaque;
      }
    }
  }
}

TEST(Process, OddPositionsRoundDownInHalvedChroma) {
  const watermark_config c = {12, 12, 4, 4, 5, 3, 100, 0, 1};
  watermark_impl object;
  unsigned int size = 0;
  object.configure(new watermark_config(c), size);
  bytes image(image_bytes(c), 200);
  object.add_watermark_image(image.data(), nullptr);
  const bytes out = process(object, bytes(frame_bytes(c), 10));
  for (std::size_t y = 0; y < 6; ++y) {
    for (std::size_t x = 0; x < 6; ++x) {
      const bool inside = x >= 2 && x < 4 && y >= 1 && y < 3;
      EXPECT_EQ(out[144 + y * 6 + x], inside ? 200 : 10);
    }
  }
}

TEST(Process, WithoutAlphaTheOverlayReplacesTheFrame) {
  for (unsigned int format = 0; format < 3; ++format) {
    const watermark_config c = {21, 15, 9, 7, 3, 5, 100, format, 1};
    watermark_impl object;
    unsigned int size = 0;
    object.configure(new watermark_config(c), size);
    bytes image = noise(image_bytes(c), 5);
    ASSERT_EQ(object.add_watermark_image(image.data(), nullptr), 0U);
    const bytes frame = noise(frame_bytes(c), 6);
    EXPECT_EQ(process(object, frame), reference(c, frame, image, bytes(alpha_bytes(c), 255)));
  }
}

TEST(Process, WithoutAlphaTheOpacityStillWeakens) {
  const watermark_config c = {21, 15, 9, 7, 3, 5, 50, 1, 1};
  watermark_impl object;
  unsigned int size = 0;
  object.configure(new watermark_config(c), size);
  bytes image = noise(image_bytes(c), 5);
  ASSERT_EQ(object.add_watermark_image(image.data(), nullptr), 0U);
  const bytes frame = noise(frame_bytes(c), 6);
  EXPECT_EQ(process(object, frame), reference(c, frame, image, bytes(alpha_bytes(c), 127)));
}

TEST(AddImage, ComposesAlphaThenTheImageAsItLies) {
  loaded l({21, 15, 9, 7, 3, 5, 100, 0, 1});
  ASSERT_EQ(l.object.images.size(), 1U);
  const unsigned char* const composed = l.object.images[0];
  EXPECT_EQ(l.object.overlay_buffer_size, l.alpha.size() + l.image.size());
  EXPECT_EQ(bytes(composed, composed + l.alpha.size()), l.alpha);
  EXPECT_EQ(bytes(composed + l.alpha.size(), composed + l.alpha.size() + l.image.size()), l.image);
}

TEST(AddImage, StoresTheFadedAlpha) {
  watermark_impl object;
  unsigned int size = 0;
  object.configure(new watermark_config{16, 16, 4, 4, 0, 0, 50, 0, 1}, size);
  bytes image(24, 60);
  bytes alpha(16, 102);
  ASSERT_EQ(object.add_watermark_image(image.data(), alpha.data()), 0U);
  EXPECT_EQ(bytes(object.images[0], object.images[0] + 16), bytes(16, 51));
  EXPECT_EQ(bytes(object.images[0] + 16, object.images[0] + 40), image);
  EXPECT_EQ(alpha, bytes(16, 102));
}

// The images that are shown on a sequence of frames, identified by their luma.
bytes sequence(unsigned int hold, std::size_t image_count, std::size_t frames) {
  const watermark_config c = {8, 4, 8, 4, 0, 0, 100, 2, hold};
  watermark_impl object;
  unsigned int size = 0;
  object.configure(new watermark_config(c), size);
  for (std::size_t i = 0; i < image_count; ++i) {
    bytes image(image_bytes(c), static_cast<unsigned char>(i));
    object.add_watermark_image(image.data(), nullptr);
  }
  bytes shown;
  for (std::size_t i = 0; i < frames; ++i) {
    shown.push_back(process(object, bytes(frame_bytes(c), 99))[0]);
  }
  return shown;
}

TEST(Sequence, StartsOver) {
  EXPECT_EQ(sequence(0, 2, 5), (bytes{0, 1, 0, 1, 0}));
  EXPECT_EQ(sequence(0, 3, 7), (bytes{0, 1, 2, 0, 1, 2, 0}));
  EXPECT_EQ(sequence(0, 1, 3), (bytes{0, 0, 0}));
}

TEST(Sequence, HoldsTheLast) {
  EXPECT_EQ(sequence(1, 2, 4), (bytes{0, 1, 1, 1}));
  EXPECT_EQ(sequence(7, 3, 6), (bytes{0, 1, 2, 2, 2, 2}));
  EXPECT_EQ(sequence(1, 1, 3), (bytes{0, 0, 0}));
}

TEST(Sequence, AnImageAddedWhileTheLastIsHeldComesNext) {
  loaded l({8, 4, 8, 4, 0, 0, 100, 2, 1});
  const bytes frame = noise(frame_bytes(l.settings), 3);
  process(l.object, frame);
  process(l.object, frame);
  EXPECT_EQ(l.object.image_index, 1U);
  bytes second(image_bytes(l.settings), 42);
  l.object.add_watermark_image(second.data(), nullptr);
  EXPECT_EQ(process(l.object, frame), second);
}

TEST(Process, HasNothingToBlendBeforeAnImage) {
  watermark_impl object;
  bytes frame(64 * 32 * 3);
  EXPECT_EQ(object.add_watermark_image(frame.data(), nullptr), 1U);  // not configured yet
  EXPECT_EQ(object.process(frame.data()), nullptr);
  unsigned int size = 0;
  object.configure(new watermark_config{64, 32, 8, 4, 0, 0, 100, 2, 1}, size);
  EXPECT_EQ(object.process(frame.data()), nullptr);
}

TEST(Process, TheFailedStateTakesAndGivesNothing) {
  watermark_impl object;
  unsigned int size = 0;
  object.configure(new watermark_config{64, 32, 65, 4, 0, 0, 100, 2, 1}, size);
  bytes image(65 * 4 * 3);
  EXPECT_EQ(object.add_watermark_image(image.data(), nullptr), 1U);
  EXPECT_TRUE(object.images.empty());
  bytes frame(size);
  EXPECT_EQ(object.process(frame.data()), nullptr);
}

TEST(Process, NullImageAndNullFrame) {
  loaded l({64, 32, 8, 4, 0, 0, 100, 2, 1});
  EXPECT_EQ(l.object.add_watermark_image(nullptr, l.alpha.data()), 1U);
  EXPECT_EQ(l.object.images.size(), 1U);
  EXPECT_EQ(l.object.process(nullptr), nullptr);
  EXPECT_EQ(l.object.image_index, 0U);
}

TEST(Process, AnUnknownFormatBlendsEmptyPlanes) {
  watermark_impl object;
  unsigned int size = 7;
  EXPECT_EQ(object.configure(new watermark_config{64, 32, 8, 4, 0, 0, 100, 3, 1}, size), 0U);
  EXPECT_EQ(size, 0U);
  unsigned char byte = 9;
  EXPECT_EQ(object.add_watermark_image(&byte, &byte), 0U);
  const std::unique_ptr<unsigned char[]> out(object.process(&byte));
  EXPECT_NE(out, nullptr);  // an empty picture
}

// Empty frames pass every check, for any number of rows or columns.
TEST(Process, FramesOfNoBytesCostNothing) {
  const auto begin = std::chrono::steady_clock::now();
  for (unsigned int format = 0; format < 3; ++format) {
    for (const unsigned int width : {0U, 0xFFFFFFFFU}) {
      watermark_impl object;
      unsigned int size = 7;
      EXPECT_EQ(object.configure(
                    new watermark_config{width, ~width, width, ~width, 0, 0, 100, format, 1}, size),
                0U);
      EXPECT_EQ(size, 0U);
      unsigned char byte = 9;
      EXPECT_EQ(object.add_watermark_image(&byte, &byte), 0U);
      const std::unique_ptr<unsigned char[]> out(object.process(&byte));
      EXPECT_NE(out, nullptr);
    }
  }
  // Processing all those rows would take longer than this on any machine.
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(1));
}

struct wrapped_case {
  const char* what;
  watermark_config settings;
  unsigned int frame_size;  // wrapped to 32 bits
};

// All of them pass the check with 32 bits; none may be blended.
const wrapped_case wrapped_cases[] = {
    {"left edge and width wrap to 0", {64, 32, 1, 4, 0xFFFFFFFF, 0, 100, 2, 1}, 6144},
    {"top edge and height wrap into the frame", {64, 32, 4, 40, 0, 0xFFFFFFE0, 100, 2, 1}, 6144},
    {"a negative top edge", {64, 32, 8, 60, 0, static_cast<unsigned int>(-30), 100, 0, 1}, 3072},
    {"the luma plane wraps to nothing", {65536, 65536, 8, 4, 0, 0, 100, 0, 1}, 0x80000000},
    {"only the sum of the planes wraps", {40000, 40000, 8, 4, 0, 0, 100, 2, 1}, 505032704},
    {"everything wraps", {0xFFFFFFFF, 0xFFFFFFFF, 8, 4, 0, 0, 100, 2, 1}, 3},
    {"only the composed overlay wraps", {37000, 37000, 37000, 37000, 0, 0, 100, 2, 1}, 4107000000},
};

TEST(WrappedSizes, AreAnsweredAsTheyWrapButNeverBlended) {
  for (const wrapped_case& c : wrapped_cases) {
    watermark_impl object;
    unsigned int size = 0;
    EXPECT_EQ(object.configure(new watermark_config(c.settings), size), 0U) << c.what;
    EXPECT_EQ(size, c.frame_size) << c.what;
    unsigned char byte = 0;
    EXPECT_EQ(object.add_watermark_image(&byte, &byte), 1U) << c.what;
    EXPECT_TRUE(object.images.empty()) << c.what;
    EXPECT_EQ(object.process(&byte), nullptr) << c.what;
  }
}

TEST(WrappedSizes, AreNotBlendedWithEarlierImagesEither) {
  for (const wrapped_case& c : wrapped_cases) {
    loaded l({64, 32, 8, 4, 0, 0, 100, 2, 1});
    const std::unique_ptr<watermark_config> first(l.object.config);
    unsigned int size = 0;
    EXPECT_EQ(l.object.configure(new watermark_config(c.settings), size), 0U) << c.what;
    unsigned char byte = 0;
    EXPECT_EQ(l.object.process(&byte), nullptr) << c.what;
  }
}

TEST(Reconfigured, AnImageTooSmallForTheNewOverlayIsNotBlended) {
  loaded l({64, 32, 8, 4, 0, 0, 100, 2, 1});
  const std::unique_ptr<watermark_config> first(l.object.config);
  const watermark_config larger = {64, 32, 9, 4, 0, 0, 100, 2, 1};
  unsigned int size = 0;
  EXPECT_EQ(l.object.configure(new watermark_config(larger), size), 0U);
  bytes frame(size);
  EXPECT_EQ(l.object.process(frame.data()), nullptr);

  bytes image(image_bytes(larger));
  EXPECT_EQ(l.object.add_watermark_image(image.data(), nullptr), 0U);
  EXPECT_EQ(l.object.process(frame.data()), nullptr);  // the small one is still in the sequence
}

TEST(Reconfigured, AnImageThatIsLargeEnoughGoesOn) {
  loaded l({64, 32, 8, 4, 0, 0, 100, 2, 1});
  const std::unique_ptr<watermark_config> first(l.object.config);
  const watermark_config moved = {64, 32, 8, 4, 17, 11, 100, 2, 1};
  unsigned int size = 0;
  EXPECT_EQ(l.object.configure(new watermark_config(moved), size), 0U);
  const bytes frame = noise(size, 12);
  EXPECT_EQ(process(l.object, frame), reference(moved, frame, l.image, l.alpha));
}

}  // namespace
