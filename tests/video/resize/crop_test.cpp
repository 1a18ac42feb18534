#include "video/resize/crop.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>
#include <vector>

#include "video/resize/colorspace.h"

namespace ns_video_resize {
namespace {

constexpr auto yuv420 = qor_resize::yuv420;
constexpr auto yuv444 = qor_resize::yuv444;

struct size {
  int width = -7, height = -7;
  bool operator==(const size& other) const {
    return width == other.width && height == other.height;
  }
};

std::ostream& operator<<(std::ostream& out, const size& s) {
  return out << s.width << " x " << s.height;
}

crop<unsigned char> cropper(qor_resize::colorspace space, int width, int height) {
  crop<unsigned char> result;
  result.init(space, false, width, height, 0, 0);
  result.crop_valid = true;
  return result;
}

crop<unsigned char> cropper_4_to_3(int width, int height) {
  crop<unsigned char> result;
  result.init(yuv420, true, width, height, 4.0f, 3.0f);
  result.crop_valid = true;
  return result;
}

size fitted(crop<unsigned char>& c, unsigned int width, unsigned int height, unsigned int mode,
            int expected = 1) {
  size result;
  EXPECT_EQ(c.set_out_ratio(width, height, mode, &result.width, &result.height), expected);
  return result;
}

TEST(CropInit, AcceptsAndRefusesByLayoutAndParity) {
  struct row {
    int space, width, height, result;
  };
  for (const row& r :
       {row{1, 8, 6, 1}, row{1, 7, 6, -1}, row{1, 8, 5, -1}, row{2, 8, 6, 1}, row{2, 7, 6, -1},
        row{2, 8, 5, -1}, row{3, 7, 5, 1}, row{4, 7, 5, 1}, row{5, 8, 5, 1}, row{5, 7, 6, -1},
        row{6, 7, 5, 1}, row{7, 7, 5, 1}, row{8, 7, 5, 1}, row{0, 8, 6, -1}, row{9, 8, 6, -1}}) {
    crop<unsigned char> c;
    const auto space = static_cast<qor_resize::colorspace>(r.space);
    EXPECT_EQ(c.init(space, false, r.width, r.height, 1, 1), r.result) << r.space;
    EXPECT_EQ(c.ready, r.result == 1);
    EXPECT_EQ(c.aspect_x, 0.0f);
    EXPECT_EQ(c.aspect_y, 0.0f);
  }
}

TEST(CropInit, WritesSizesBeforeItRefuses) {
  crop<unsigned char> c;
  EXPECT_EQ(c.init(yuv420, true, 7, 5, 4, 3), -1);
  EXPECT_EQ(c.in_width, 7u);
  EXPECT_EQ(c.chroma_in_width[0], 3u);
  EXPECT_EQ(c.chroma_in_height[1], 2u);
  EXPECT_EQ(c.aspect_x, 4.0f);
  EXPECT_EQ(c.alpha_in_width, 0u);
  EXPECT_EQ(c.init(qor_resize::ayuv444, false, 6, 4, 4, 3), 1);
  EXPECT_EQ(c.alpha_in_width, 6u);
  EXPECT_EQ(c.alpha_in_height, 4u);
}

TEST(CropFit, PadsTo4By3WithTruncatedAmounts) {
  crop<unsigned char> c = cropper_4_to_3(720, 576);
  EXPECT_EQ(fitted(c, 1024, 576, 2), (size{958, 576}));
  EXPECT_NEAR(c.target_ratio, 1.66666658, 1e-8);
  EXPECT_EQ(c.pad_left, 120u);
  EXPECT_EQ(c.pad_right, 118u);
  EXPECT_EQ(c.pad_top + c.pad_bottom, 0u);
  EXPECT_FALSE(c.identity);
}

TEST(CropFit, CropsTo4By3WithRoundedAmounts) {
  crop<unsigned char> c = cropper_4_to_3(720, 576);
  EXPECT_EQ(fitted(c, 1024, 576, 1), (size{720, 432}));
  EXPECT_EQ(c.top, 72u);
  EXPECT_EQ(c.bottom, 72u);
}

TEST(CropFit, CropsWidthAndPadsHeightWhenTooWide) {
  crop<unsigned char> wide = cropper(yuv444, 200, 100);
  EXPECT_EQ(fitted(wide, 100, 100, 1), (size{100, 100}));
  EXPECT_EQ(wide.left, 50u);
  crop<unsigned char> padded = cropper(yuv444, 200, 100);
  EXPECT_EQ(fitted(padded, 100, 100, 2), (size{200, 200}));
  EXPECT_EQ(padded.pad_top, 50u);
  EXPECT_EQ(padded.pad_bottom, 50u);
}

TEST(CropFit, OddSizesLoseALineOrGainAPaddedOne) {
  for (const unsigned int mode : {0u, 1u}) {
    crop<unsigned char> c = cropper(yuv444, 100, 100);
    c.user_right = 3;
    c.user_bottom = 5;
    // 97 x 95 with its own ratio as the target, so that nothing is fitted.
    EXPECT_EQ(fitted(c, 97, 95, mode), (size{96, 94}));
    EXPECT_EQ(c.left, 2u);
    EXPECT_EQ(c.right, 2u);
    EXPECT_EQ(c.top, 2u);
    EXPECT_EQ(c.bottom, 4u);
  }
  crop<unsigned char> c = cropper(yuv444, 100, 100);
  c.user_right = 3;
  c.user_bottom = 5;
  EXPECT_EQ(fitted(c, 97, 95, 2), (size{98, 96}));
  EXPECT_EQ(c.pad_left, 1u);
  EXPECT_EQ(c.pad_top, 1u);
  EXPECT_EQ(c.pad_right + c.pad_bottom, 0u);
  EXPECT_EQ(c.right, 3u);
}

TEST(CropFit, TwoOddSidesBecomeEven) {
  crop<unsigned char> c = cropper(yuv420, 64, 64);
  c.user_left = 3;
  c.user_right = 5;
  c.user_top = 1;
  c.user_bottom = 1;
  EXPECT_EQ(fitted(c, 10, 10, 0), (size{56, 62}));
  EXPECT_EQ(c.left, 4u);
  EXPECT_EQ(c.right, 4u);
  EXPECT_EQ(c.top, 2u);
  EXPECT_EQ(c.bottom, 0u);
}

TEST(CropFit, NothingCroppedAndNothingPaddedIsIdentity) {
  crop<unsigned char> c = cropper(yuv420, 64, 36);
  EXPECT_EQ(fitted(c, 1920, 1080, 2), (size{64, 36}));
  EXPECT_TRUE(c.identity);
  EXPECT_TRUE(c.ratio_set);
}

TEST(CropFit, RefusesInOrderAndChangesNothing) {
  for (int missing = 0; missing < 5; ++missing) {
    crop<unsigned char> c = cropper(yuv420, 64, 36);
    c.ready = missing != 0;
    c.crop_valid = missing != 2;
    const size before;
    EXPECT_EQ(fitted(c, missing == 3 ? 0 : 10, missing == 4 ? 0 : 10, missing == 1 ? 3 : 0, -1),
              before);
    EXPECT_FALSE(c.ratio_set);
    EXPECT_EQ(c.target_width, 0u);
    EXPECT_EQ(c.out_width, 0u);
  }
}

TEST(CropFit, ARefusalKeepsWhatStood) {
  crop<unsigned char> c = cropper_4_to_3(720, 576);
  ASSERT_EQ(fitted(c, 1024, 576, 2), (size{958, 576}));
  fitted(c, 1024, 576, 3, -1);
  fitted(c, 0, 576, 2, -1);
  EXPECT_EQ(c.out_width, 958u);
  EXPECT_EQ(c.pad_left, 120u);
  EXPECT_EQ(c.target_width, 1024u);
  EXPECT_TRUE(c.ratio_set);
  // Another success starts from the current pads: 958 x 576 is one column too narrow.
  EXPECT_EQ(fitted(c, 1024, 576, 2), (size{958, 576}));
}

TEST(CropFit, AnAspectWithAZeroIsDisabledAndANaNIsNot) {
  crop<unsigned char> c;
  c.crop_valid = true;
  c.init(yuv444, true, 200, 100, 0.0f, 3.0f);
  EXPECT_EQ(fitted(c, 100, 100, 1), (size{100, 100}));
  // All comparisons with NaN are false, so nothing is fitted.
  c.init(yuv444, true, 200, 100, std::numeric_limits<float>::quiet_NaN(), 3.0f);
  EXPECT_EQ(fitted(c, 100, 100, 1), (size{200, 100}));
  EXPECT_TRUE(std::isnan(c.target_ratio));
}

TEST(CropFit, WhatHasNoSizeIsNotFitted) {
  struct row {
    float x, y;
    unsigned int mode;
  };
  const float infinity = std::numeric_limits<float>::infinity();
  for (const row& r : {row{-4, 3, 1}, row{-4, 3, 2}, row{infinity, 1, 2}, row{1e-38f, 1e38f, 2},
                       row{1e-30f, 1, 2}, row{1e30f, 1, 2}}) {
    crop<unsigned char> c;
    c.crop_valid = true;
    ASSERT_EQ(c.init(yuv444, true, 200, 100, r.x, r.y), 1);
    fitted(c, 100, 100, r.mode, 0);
    EXPECT_FALSE(c.ratio_set) << r.x << " : " << r.y;
    EXPECT_EQ(c.pad_left | c.pad_right | c.pad_top | c.pad_bottom | c.left | c.top, 0u);
  }
}

TEST(CropFit, MoreCroppedThanThereIsIsNotFitted) {
  crop<unsigned char> c = cropper(yuv444, 64, 36);
  c.user_left = 60;
  c.user_right = 5;
  fitted(c, 10, 10, 0, 0);
  c.user_right = 0xFFFFFFFF;
  fitted(c, 10, 10, 0, 0);
  c.user_right = 4;
  EXPECT_EQ(fitted(c, 10, 10, 0), (size{0, 36}));
}

// A frame whose samples count up from `first`, so that each value shows its origin.
template <typename T>
std::vector<T> counting_frame(std::size_t samples, T first = 1) {
  std::vector<T> frame(samples);
  std::iota(frame.begin(), frame.end(), first);
  return frame;
}

TEST(CropProcess, CutsAndPlacesEveryPlane) {
  // 8 x 6 in 4:2:0: crop 2 left and 2 top, pad 2 right and 2 bottom.
  crop<unsigned char> c = cropper(yuv420, 8, 6);
  c.user_left = c.user_top = 2;
  c.pad_right = c.pad_bottom = 2;
  ASSERT_EQ(fitted(c, 8, 6, 0), (size{8, 6}));
  std::vector<unsigned char> src = counting_frame<unsigned char>(72);
  std::vector<unsigned char> dst(72, 77);
  EXPECT_EQ(c.process_yp_cb_cr_plan(src.data(), dst.data()), 1);
  for (int y = 0; y < 6; ++y) {
    for (int x = 0; x < 8; ++x) {
      EXPECT_EQ(dst[y * 8 + x], x < 6 && y < 4 ? src[(y + 2) * 8 + x + 2] : 0) << x << "," << y;
    }
  }
  for (int plane = 0; plane < 2; ++plane) {
    const int start = 48 + plane * 12;
    for (int y = 0; y < 3; ++y) {
      for (int x = 0; x < 4; ++x) {
        EXPECT_EQ(dst[start + y * 4 + x], x < 3 && y < 2 ? src[start + (y + 1) * 4 + x + 1] : 128);
      }
    }
  }
}

TEST(CropProcess, AlphaLayoutsHaveATransparentBlackBorder) {
  crop<unsigned char> c = cropper(qor_resize::ayuv422, 4, 2);
  c.pad_left = c.pad_top = 2;
  ASSERT_EQ(fitted(c, 6, 4, 0), (size{6, 4}));
  std::vector<unsigned char> src = counting_frame<unsigned char>(24);
  std::vector<unsigned char> dst(72, 77);
  c.process_a_yp_cb_cr_plan(src.data(), dst.data());
  for (int plane = 0; plane < 2; ++plane) {
    for (int y = 0; y < 4; ++y) {
      for (int x = 0; x < 6; ++x) {
        const bool inside = x >= 2 && y >= 2;
        EXPECT_EQ(dst[plane * 24 + y * 6 + x], inside ? src[plane * 8 + (y - 2) * 4 + x - 2] : 0);
      }
    }
  }
  for (int plane = 0; plane < 2; ++plane) {
    for (int y = 0; y < 4; ++y) {
      for (int x = 0; x < 3; ++x) {
        const bool inside = x >= 1 && y >= 2;
        EXPECT_EQ(dst[48 + plane * 12 + y * 3 + x],
                  inside ? src[16 + plane * 4 + (y - 2) * 2 + x - 1] : 128);
      }
    }
  }
}

TEST(CropProcess, ASingleOddAmountShiftsCr) {
  // 4 x 10 in 4:2:0 with 3 rows cropped at the top in pad mode: 7 rows are left, one padded row is
  // added at the top, and Cr is expected 3 + 1 rows after the first Cb row instead of 5.
  crop<unsigned char> c = cropper(yuv420, 4, 10);
  c.user_top = 3;
  ASSERT_EQ(fitted(c, 4, 7, 2), (size{4, 8}));
  ASSERT_EQ(c.top, 3u);
  ASSERT_EQ(c.pad_top, 1u);
  std::vector<unsigned char> src = counting_frame<unsigned char>(60);
  std::vector<unsigned char> dst(48, 77);
  c.process_yp_cb_cr_plan(src.data(), dst.data());
  // Cb: rows 1 to 3 of the source become rows 0 to 2; Cr: starts with the last Cb row, at row 3.
  for (int i = 0; i < 6; ++i) {
    EXPECT_EQ(dst[32 + i], src[40 + 2 + i]);
    EXPECT_EQ(dst[32 + 6 + i], src[40 + 2 + 8 + i]);
  }
  for (int i = 44; i < 48; ++i) EXPECT_EQ(dst[i], 128);
}

TEST(CropProcess, WithoutADestinationReplacesTheSource) {
  crop<unsigned char> c = cropper(yuv444, 8, 6);
  c.user_left = 2;
  c.user_bottom = 2;
  ASSERT_EQ(fitted(c, 6, 4, 0), (size{6, 4}));
  std::vector<unsigned char> in_place = counting_frame<unsigned char>(8 * 6 * 3);
  const std::vector<unsigned char> before = in_place;
  std::vector<unsigned char> apart(6 * 4 * 3);
  std::vector<unsigned char> src = before;
  c.process_yp_cb_cr_plan(src.data(), apart.data());
  EXPECT_EQ(src, before);
  c.process_yp_cb_cr_plan(in_place.data(), nullptr);
  EXPECT_TRUE(std::equal(apart.begin(), apart.end(), in_place.begin()));
  EXPECT_TRUE(std::equal(before.begin() + 72, before.end(), in_place.begin() + 72));
}

TEST(CropProcess, DoesNothingBeforeARatioIsSet) {
  crop<unsigned char> c = cropper(yuv420, 8, 6);
  unsigned char untouched = 9;
  EXPECT_EQ(c.process_yp_cb_cr_plan(&untouched, &untouched), 1);
  EXPECT_EQ(c.process_a_yp_cb_cr_plan(&untouched, &untouched), 1);
  EXPECT_EQ(untouched, 9);
}

TEST(CropProcess, DoesNothingAfterAnotherInit) {
  for (const int height : {160, 161}) {
    crop<unsigned char> c = cropper(yuv420, 16, 16);
    c.user_left = 2;
    ASSERT_EQ(fitted(c, 14, 16, 0), (size{14, 16}));
    c.init(yuv420, false, 160, height, 0, 0);
    std::vector<unsigned char> src(160 * 161 * 2, 1);
    std::vector<unsigned char> dst(14 * 16 * 3 / 2, 9);
    EXPECT_EQ(c.process_yp_cb_cr_plan(src.data(), dst.data()), 1);
    EXPECT_EQ(dst, std::vector<unsigned char>(dst.size(), 9));
  }
}

TEST(CropProcess, SixteenBitBordersAreExactAtEverySize) {
  for (const int width : {2, 4, 6, 10, 14, 16, 18}) {
    crop<unsigned short> c;
    ASSERT_EQ(c.init(qor_resize::yuv422_16, false, width, 2, 0, 0), 1);
    c.crop_valid = true;
    c.pad_left = 2;
    int out_width = 0;
    int out_height = 0;
    ASSERT_EQ(c.set_out_ratio(8, 8, 0, &out_width, &out_height), 1);
    ASSERT_EQ(out_width, width + 2);
    const std::size_t samples = static_cast<std::size_t>(out_width) * 4;
    std::vector<unsigned short> src = counting_frame<unsigned short>(width * 4, 5000);
    std::vector<unsigned short> dst(samples + 16, 7);
    c.process_yp_cb_cr_plan(src.data(), dst.data() + 8);
    for (int i = 0; i < 8; ++i) {
      EXPECT_EQ(dst[i], 7);
      EXPECT_EQ(dst[8 + samples + i], 7);
    }
    EXPECT_EQ(dst[8], 0);
    EXPECT_EQ(dst[8 + out_width * 2], 32768);
    EXPECT_EQ(dst[8 + out_width * 2 + 1], 5000 + width * 2);
  }
}

TEST(CropProcess, NeutralFillWritesExactlyTheCount) {
  for (unsigned int count = 0; count < 20; ++count) {
    std::vector<unsigned short> wide(count + 2, 1);
    crop<unsigned short>().clear_chroma(wide.data() + 1, count);
    std::vector<unsigned char> narrow(count + 2, 1);
    crop<unsigned char>().clear_chroma(narrow.data() + 1, count);
    for (unsigned int i = 0; i < count + 2; ++i) {
      const bool inside = i > 0 && i <= count;
      EXPECT_EQ(wide[i], inside ? 32768 : 1);
      EXPECT_EQ(narrow[i], inside ? 128 : 1);
    }
  }
}

}  // namespace
}  // namespace ns_video_resize
