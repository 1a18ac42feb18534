// Tests of the parts of a plan where errors are likely: where blocks begin and end, what is copied
// between them, and which plan belongs to which image.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "tests/support/guarded_buffer.h"
#include "tests/video/watermark/reference_compositor.h"
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

std::string where(const watermark_config& c) {
  return std::to_string(c.frame_width) + " x " + std::to_string(c.frame_height) + ", overlay " +
         std::to_string(c.width) + " x " + std::to_string(c.height) + " at " + std::to_string(c.x) +
         ", " + std::to_string(c.y) + ", format " + std::to_string(c.format);
}

void configure(watermark_impl& object, const watermark_config& c) {
  unsigned int size = 0;
  ASSERT_EQ(object.configure(new watermark_config(c), size), 0U);
  ASSERT_EQ(size, frame_bytes(c));
}

// The frame ends at a protected page, and then again begins at one.
void expect_blend(watermark_impl& object, const watermark_config& c, const bytes& image,
                  const bytes& alpha) {
  const bytes frame = noise(frame_bytes(c), 99);
  const bytes expected = reference(c, frame, image, alpha);
  for (const protected_edge edge : {protected_edge::begin, protected_edge::end}) {
    guarded_buffer in(frame.size(), edge, fill_pattern::checker);
    std::copy(frame.begin(), frame.end(), in.data());
    const std::unique_ptr<unsigned char[]> out(object.process(in.data()));
    ASSERT_NE(out, nullptr);
    ASSERT_EQ(bytes(out.get(), out.get() + frame.size()), expected) << where(c);
    ASSERT_EQ(in.damage(), "") << where(c);
  }
}

void expect_blend(const watermark_config& c, const bytes& alpha) {
  watermark_impl object;
  configure(object, c);
  bytes image = noise(image_bytes(c), 7);
  bytes given = alpha;
  ASSERT_EQ(object.add_watermark_image(image.data(), given.data()), 0U);
  expect_blend(object, c, image, alpha);
}

// Repeats a run of visible samples, followed by `run` transparent ones.
bytes striped(std::size_t count, std::size_t visible, std::size_t run, unsigned int seed) {
  bytes alpha = noise(count, seed);
  for (std::size_t i = 0; i < count; ++i) {
    alpha[i] = i % (visible + run) < visible ? std::max(alpha[i], static_cast<unsigned char>(1))
                                             : static_cast<unsigned char>(0);
  }
  return alpha;
}

TEST(Plan, EveryWidthFrom0To200AtEveryAlignment) {
  for (unsigned int format = 0; format < 3; ++format) {
    for (unsigned int width = 0; width <= 200; ++width) {
      for (unsigned int x = 0; x < 16; ++x) {
        // Margins on the right from 0 to more than a block, odd and even.
        const unsigned int right = (width * 7 + x * 5) % 19;
        const watermark_config c = {x + width + right, 4, width, 3, x, x % 2, 100, format, 1};
        expect_blend(c, noise(alpha_bytes(c), width + 1));
        if (HasFailure()) return;
      }
    }
  }
}

TEST(Plan, TransparentRunsOfEveryLength) {
  for (unsigned int format = 0; format < 3; ++format) {
    for (std::size_t run = 1; run <= 140; ++run) {
      for (const std::size_t visible : {1, 2, 15, 16, 17, 40}) {
        const watermark_config c = {333, 7, 301, 5, 13, 1, 100, format, 1};
        expect_blend(c, striped(alpha_bytes(c), visible, run, 3));
        if (HasFailure()) return;
      }
    }
  }
}

// A block that begins at the end of a row extends into the next row, or beyond the end of the
// picture.
TEST(Plan, VisibleOnlyAtTheEndsOfRows) {
  for (unsigned int format = 0; format < 3; ++format) {
    for (unsigned int width = 1; width <= 40; ++width) {
      for (const unsigned int margin : {0U, 1U, 2U, 9U}) {
        const watermark_config c = {width + margin, 6, width, 6, margin / 2, 0, 100, format, 1};
        for (const bool first : {false, true}) {
          for (const bool last : {false, true}) {
            bytes alpha(alpha_bytes(c), 0);
            for (std::size_t row = 0; row < c.height; ++row) {
              if (first) alpha[row * width] = 200;
              if (last) alpha[row * width + width - 1] = 100;
            }
            expect_blend(c, alpha);
          }
        }
        if (HasFailure()) return;
      }
    }
  }
}

TEST(Plan, FlatAndWhollyTransparentOverlays) {
  for (unsigned int format = 0; format < 3; ++format) {
    for (const unsigned char level : {0, 1, 102, 254, 255}) {
      const watermark_config c = {120, 20, 97, 11, 12, 5, 100, format, 1};
      expect_blend(c, bytes(alpha_bytes(c), level));
    }
  }
}

unsigned char faded(unsigned int alpha, unsigned int opacity) {
  if (opacity == 100) return static_cast<unsigned char>(alpha);
  const exact_share share(opacity, 100);
  return static_cast<unsigned char>(share.of(alpha) >> share.shift());
}

TEST(Plan, EveryOpacity) {
  for (unsigned int opacity = 0; opacity <= 100; ++opacity) {
    const watermark_config c = {67, 9, 51, 7, 3, 1, opacity, opacity % 3, 1};
    watermark_impl object;
    configure(object, c);
    bytes image = noise(image_bytes(c), 11);
    bytes alpha = noise(alpha_bytes(c), 12);
    ASSERT_EQ(object.add_watermark_image(image.data(), alpha.data()), 0U);
    for (unsigned char& a : alpha) a = faded(a, opacity);
    expect_blend(object, c, image, alpha);
  }
}

// Many images, each with its own plan, later at another position and frame size: the plans belong
// to the right images in both cases.
TEST(Plan, FollowsItsImageThroughASecondConfigure) {
  const watermark_config before = {90, 30, 41, 13, 9, 7, 100, 0, 0};
  watermark_impl object;
  configure(object, before);
  std::vector<bytes> images;
  std::vector<bytes> alphas;
  for (unsigned int i = 0; i < 5; ++i) {
    images.push_back(noise(image_bytes(before), 20 + i));
    alphas.push_back(striped(alpha_bytes(before), 9, 3 + 11 * i, 30 + i));
    ASSERT_EQ(object.add_watermark_image(images[i].data(), alphas[i].data()), 0U);
  }
  const auto show_all = [&](const watermark_config& c) {
    for (std::size_t i = 0; i < images.size(); ++i) {
      const bytes frame = noise(frame_bytes(c), 5);
      bytes in = frame;
      const std::unique_ptr<unsigned char[]> out(object.process(in.data()));
      ASSERT_NE(out, nullptr);
      ASSERT_EQ(bytes(out.get(), out.get() + frame.size()),
                reference(c, frame, images[i], alphas[i]))
          << "image " << i << ", " << where(c);
    }
  };
  show_all(before);

  const std::unique_ptr<watermark_config> first(object.config);
  const watermark_config after = {101, 40, 41, 13, 60, 27, 100, 0, 0};
  configure(object, after);
  object.image_index = 0;
  show_all(after);

  images.push_back(noise(image_bytes(after), 40));
  alphas.push_back(noise(alpha_bytes(after), 41));
  ASSERT_EQ(object.add_watermark_image(images[5].data(), alphas[5].data()), 0U);
  object.image_index = 0;
  show_all(after);
}

}  // namespace
