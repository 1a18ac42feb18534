#include <gtest/gtest.h>

#include "tests/video/watermark/exact_blend.h"
#include "video/watermark/blend_sample.h"

namespace {

using ns_video_watermark::blend_sample;
using watermark_test::exact_blend;

unsigned int blend(unsigned int frame, unsigned int overlay, unsigned int alpha) {
  return blend_sample(static_cast<unsigned char>(frame), static_cast<unsigned char>(overlay),
                      static_cast<unsigned char>(alpha));
}

TEST(Blend, TruncatesAndNeverRounds) {
  EXPECT_EQ(blend(200, 95, 102), 157U);  // exact arithmetic gives 158
  EXPECT_EQ(blend(95, 95, 102), 94U);
  EXPECT_EQ(blend(128, 128, 102), 128U);
}

TEST(Blend, EndsOfTheAlphaRangeAreExact) {
  for (unsigned int frame = 0; frame < 256; ++frame) {
    for (unsigned int overlay = 0; overlay < 256; ++overlay) {
      ASSERT_EQ(blend(frame, overlay, 0), frame);
      ASSERT_EQ(blend(frame, overlay, 255), overlay);
    }
  }
}

TEST(Blend, NeutralChromaStaysNeutral) {
  for (unsigned int alpha = 0; alpha < 256; ++alpha) ASSERT_EQ(blend(128, 128, alpha), 128U);
}

TEST(Blend, EveryInputAgreesWithExactIntegers) {
  unsigned int mismatches = 0;
  for (unsigned int alpha = 0; alpha < 256; ++alpha) {
    const exact_blend exact(alpha);
    for (unsigned int overlay = 0; overlay < 256; ++overlay) {
      for (unsigned int frame = 0; frame < 256; ++frame) {
        if (blend(frame, overlay, alpha) == exact(frame, overlay)) continue;
        if (mismatches++ == 0) {
          ADD_FAILURE() << "frame " << frame << ", overlay " << overlay << ", alpha " << alpha
                        << ": " << blend(frame, overlay, alpha) << ", exactly "
                        << exact(frame, overlay);
        }
      }
    }
  }
  EXPECT_EQ(mismatches, 0U);
}

// The result is the true quotient, truncated, or one below it; the latter only if the quotient is
// an integer.
TEST(Blend, EveryInputIsTheQuotientOrOneLessWhereThatIsWhole) {
  unsigned int lowered = 0;
  unsigned int mismatches = 0;
  for (unsigned int alpha = 0; alpha < 256; ++alpha) {
    for (unsigned int overlay = 0; overlay < 256; ++overlay) {
      for (unsigned int frame = 0; frame < 256; ++frame) {
        const unsigned int sum = overlay * alpha + frame * (255 - alpha);
        const unsigned int result = blend(frame, overlay, alpha);
        if (result == sum / 255) continue;
        ++lowered;
        if (sum % 255 != 0 || result + 1 != sum / 255) ++mismatches;
      }
    }
  }
  EXPECT_EQ(mismatches, 0U);
  EXPECT_GT(lowered, 0U);
}

}  // namespace
