#include <gtest/gtest.h>

#include <limits>

#include "tests/video/resize/resizer_under_test.h"

namespace ns_video_resize {
namespace {

// The two requests that the filter makes, for artwork of 1728 x 402.
resize_request artwork_request(int space, int interpolation) {
  resize_request request = scale_request(space, 800, 186, 1728, 402, interpolation);
  request.aspect_preset = 1;
  request.aspect_x = 1728.0f;
  request.aspect_y = 402.0f;
  request.kernel_param = 0.0f;
  return request;
}

TEST(Setup, PlansTheArtwork) {
  resizer_8 r(artwork_request(3, 3));
  ASSERT_EQ(r.result, 1);
  EXPECT_TRUE(r->x_first);
  EXPECT_EQ(r->in_width, 800u);
  EXPECT_EQ(r->in_height, 186u);
  EXPECT_EQ(r->mid_width, 1728u);
  EXPECT_EQ(r->mid_height, 186u);
  EXPECT_EQ(r->taps, 4u);
  EXPECT_EQ(r->interpolation, 3u);
  EXPECT_EQ(r->smoothing, 0u);
  EXPECT_EQ(r->smoothing_strength, 25u);
  EXPECT_EQ(r->out_frame_size, 1728u * 402u * 2u);
  EXPECT_EQ(r->in_frame_size, 800u * 186u * 2u);
  EXPECT_EQ(r->get_output_size(), 1728 * 402 * 2);
  EXPECT_EQ(r->plane_count, 3u);
  EXPECT_EQ(r->aspect_fixed, 1u);
  EXPECT_TRUE(r->cropper.identity);
}

TEST(Setup, PlansTheAlpha) {
  resizer_8 r(artwork_request(5, 1));
  ASSERT_EQ(r.result, 1);
  EXPECT_EQ(r->plane_count, 4u);
  EXPECT_EQ(r->taps, 2u);
  EXPECT_EQ(r->get_output_size(), 1728 * 402 * 3);
}

TEST(Setup, PlanesOfAllLayouts) {
  for (int space = 1; space <= 6; ++space) {
    resizer_8 r(scale_request(space, 18, 10, 11, 7));
    ASSERT_EQ(r.result, 1) << space;
    const unsigned int shift_x = space == 4 || space == 6 ? 0 : 1;
    const unsigned int shift_y = space <= 2 ? 1 : 0;
    const unsigned int full = space == 2 || space == 5 || space == 6 ? 2 : 1;
    ASSERT_EQ(r->plane_count, full + 2);
    for (unsigned int p = 0; p < r->plane_count; ++p) {
      const bool chroma = p >= full;
      const unsigned int x = chroma ? shift_x : 0;
      const unsigned int y = chroma ? shift_y : 0;
      EXPECT_EQ(r->in_planes[p]->width, 18u >> x);
      EXPECT_EQ(r->in_planes[p]->height, 10u >> y);
      EXPECT_EQ(r->mid_planes[p]->width, 18u >> x);
      EXPECT_EQ(r->mid_planes[p]->height, 7u >> y);
      EXPECT_EQ(r->out_planes[p]->width, 11u >> x);
      EXPECT_EQ(r->out_planes[p]->height, 7u >> y);
      EXPECT_EQ(r->out_planes[p]->kind, chroma ? 2u : 1u);
    }
    for (int field = 0; field < 2; ++field) {
      EXPECT_EQ(r->in_fields[field]->width, 18u);
      EXPECT_EQ(r->in_fields[field]->height, 5u);
      EXPECT_EQ(r->mid_fields[field]->width, 18u);
      EXPECT_EQ(r->mid_fields[field]->height, 3u);
      EXPECT_EQ(r->out_fields[field]->width, 11u);
      EXPECT_EQ(r->out_fields[field]->height, 3u);
      EXPECT_EQ(r->out_fields[field]->kind, 1u);
    }
    EXPECT_EQ(r->work_buffer, nullptr);
  }
}

TEST(Setup, OrderOfPasses) {
  struct row {
    int out_width, out_height;
    bool x_first;
  };
  for (const row& w : {row{20, 10, true}, row{21, 11, true}, row{19, 11, false}, row{21, 9, false},
                       row{19, 9, false}, row{20, 9, false}, row{19, 10, false}}) {
    resizer_8 r(scale_request(4, 20, 10, w.out_width, w.out_height));
    ASSERT_EQ(r.result, 1);
    EXPECT_EQ(r->x_first, w.x_first) << w.out_width << " x " << w.out_height;
    EXPECT_EQ(r->mid_width, static_cast<unsigned int>(w.x_first ? w.out_width : 20));
    EXPECT_EQ(r->mid_height, static_cast<unsigned int>(w.x_first ? 10 : w.out_height));
  }
}

unsigned int smoothing_of(int in_width, int in_height, int out_width, int out_height, int wanted) {
  resize_request request = scale_request(3, in_width, in_height, out_width, out_height);
  request.smoothing = wanted;
  return resizer_8(request)->smoothing;
}

TEST(Setup, SmoothingByReduction) {
  EXPECT_EQ(smoothing_of(1600, 400, 400, 100, 1), 2u);
  EXPECT_EQ(smoothing_of(1600, 400, 800, 200, 1), 1u);
  EXPECT_EQ(smoothing_of(1600, 400, 1000, 250, 1), 0u);
  EXPECT_EQ(smoothing_of(1600, 400, 1000, 250, 2), 1u);
  EXPECT_EQ(smoothing_of(1600, 400, 400, 100, 0), 0u);
  EXPECT_EQ(smoothing_of(1600, 400, 400, 100, 2), 2u);
  EXPECT_EQ(smoothing_of(1600, 400, 800, 200, 7), 1u);
  EXPECT_EQ(smoothing_of(1600, 400, 800, 200, -1), 1u);
  // One axis is enough.
  EXPECT_EQ(smoothing_of(1600, 400, 400, 400, 1), 2u);
  EXPECT_EQ(smoothing_of(1600, 400, 1600, 200, 1), 1u);
}

TEST(Setup, SmoothingThresholdsAreStrict) {
  EXPECT_EQ(smoothing_of(170, 170, 100, 100, 1), 0u);
  EXPECT_EQ(smoothing_of(172, 170, 100, 100, 1), 1u);
  EXPECT_EQ(smoothing_of(380, 380, 100, 100, 1), 1u);
  EXPECT_EQ(smoothing_of(380, 382, 100, 100, 1), 2u);
}

TEST(Setup, InterpolationsAndTaps) {
  struct row {
    int given, result;
    unsigned int stored, taps;
  };
  for (const row& w : {row{0, 1, 2, 4}, row{1, 1, 1, 2}, row{2, 1, 2, 4}, row{3, 1, 3, 4},
                       row{4, 1, 4, 1}, row{5, 0, 5, 0}, row{-1, 0, 0xFFFFFFFF, 0}}) {
    resize_request request = scale_request(3, 16, 8, 4, 4, w.given);
    request.smoothing = 1;
    resizer_8 r(request);
    EXPECT_EQ(r.result, w.result) << w.given;
    EXPECT_EQ(r->interpolation, w.stored);
    EXPECT_EQ(r->taps, w.taps);
    // Passes and smoothing are chosen before the value is checked.
    EXPECT_EQ(r->smoothing, 2u);
    EXPECT_TRUE(r->x_pass == (w.given == 4 ? &video_resize_impl<unsigned char>::scale_x_integer
                                           : &video_resize_impl<unsigned char>::scale_x_float));
    EXPECT_TRUE(r->y_pass == (w.given == 4 ? &video_resize_impl<unsigned char>::scale_y_integer
                                           : &video_resize_impl<unsigned char>::scale_y_float));
    EXPECT_EQ(r->in_planes != nullptr, w.result == 1);
    EXPECT_EQ(r->get_output_size() != 0, w.result == 1);
  }
}

TEST(Setup, SmoothingStrengthWraps) {
  resize_request request = scale_request(3, 16, 8, 8, 8);
  for (const int level : {0, 40, 99, 100}) {
    request.smoothing_level = level;
    EXPECT_EQ(resizer_8(request)->smoothing_strength, static_cast<unsigned int>(100 - level) / 4);
  }
  request.smoothing_level = 101;
  EXPECT_EQ(resizer_8(request)->smoothing_strength, 0x3FFFFFFFu);
}

TEST(Setup, OddInputIsRejected) {
  EXPECT_EQ(resizer_8(scale_request(3, 801, 186, 100, 100)).result, -1);
  EXPECT_EQ(resizer_8(scale_request(3, 800, 185, 100, 100)).result, -1);
  EXPECT_EQ(resizer_8(scale_request(4, 801, 186, 100, 100)).result, -1);
  resize_request copy = scale_request(4, 801, 186, 100, 100);
  copy.resize_mode = 1;
  EXPECT_EQ(resizer_8(copy).result, -1);
}

TEST(Setup, AspectPresets) {
  struct row {
    int preset;
    float x, y;
  };
  for (const row& w : {row{0, 0, 0}, row{1, 7, 5}, row{2, 4, 3}, row{3, 16, 9}, row{4, 2.21f, 1},
                       row{5, 5, 4}, row{6, 7, 5}, row{99, 7, 5}, row{-3, 7, 5}}) {
    resize_request request = scale_request(3, 720, 576, 64, 48);
    request.aspect_preset = w.preset;
    request.aspect_x = 7.0f;
    request.aspect_y = 5.0f;
    resizer_8 r(request);
    ASSERT_EQ(r.result, 1);
    EXPECT_EQ(r->cropper.aspect_x, w.x) << w.preset;
    EXPECT_EQ(r->cropper.aspect_y, w.y) << w.preset;
    EXPECT_EQ(r->aspect_fixed, w.preset != 0 ? 1u : 0u);
  }
}

resize_request copy_request(int in_width, int in_height, int out_width, int out_height) {
  resize_request request = scale_request(3, in_width, in_height, out_width, out_height);
  request.resize_mode = 1;
  return request;
}

TEST(Setup, CropOnlyCentresTheRequest) {
  resizer_8 r(copy_request(1920, 1080, 1280, 720));
  ASSERT_EQ(r.result, 1);
  EXPECT_EQ(r->copy_only, 1u);
  EXPECT_EQ(r->cropper.left, 320u);
  EXPECT_EQ(r->cropper.right, 320u);
  EXPECT_EQ(r->cropper.top, 180u);
  EXPECT_EQ(r->cropper.bottom, 180u);
  EXPECT_EQ(r->out_width, 1280u);
  EXPECT_EQ(r->out_height, 720u);
  EXPECT_EQ(r->in_width, 1280u);
  EXPECT_EQ(r->out_frame_size, 1280u * 720u * 2u);
  EXPECT_EQ(r->in_frame_size, 1280u * 720u * 2u);
  EXPECT_EQ(r->in_planes, nullptr);
}

TEST(Setup, CropOnlyWithAnOddDifference) {
  resizer_8 r(copy_request(1920, 1080, 1281, 1080));
  ASSERT_EQ(r.result, 1);
  EXPECT_EQ(r->cropper.left, 320u);
  EXPECT_EQ(r->cropper.right, 318u);
  EXPECT_EQ(r->out_width, 1282u);
}

TEST(Setup, PadOnlyWithAnOddDifference) {
  resizer_8 r(copy_request(720, 576, 1281, 576));
  ASSERT_EQ(r.result, 1);
  EXPECT_EQ(r->cropper.pad_left, 280u);
  EXPECT_EQ(r->cropper.pad_right, 280u);
  EXPECT_EQ(r->out_width, 1280u);
}

TEST(Setup, CropOnlyAddsToTheUserCropAndIgnoresTheAspect) {
  resize_request request = copy_request(100, 60, 70, 80);
  request.crop_left = 10;
  request.crop_right = 4;
  request.crop_top = 2;
  request.aspect_preset = 3;
  resizer_8 r(request);
  ASSERT_EQ(r.result, 1);
  // 86 columns are left and 70 are required: 8 more are cropped on each side. 58 rows are left and
  // 80 are required: 11 rows of border above and below, changed to 12 and 10.
  EXPECT_EQ(r->cropper.left, 18u);
  EXPECT_EQ(r->cropper.right, 12u);
  EXPECT_EQ(r->cropper.top, 2u);
  EXPECT_EQ(r->cropper.pad_top, 12u);
  EXPECT_EQ(r->cropper.pad_bottom, 10u);
  EXPECT_EQ(r->cropper.aspect_x, 0.0f);
  EXPECT_EQ(r->out_width, 70u);
  EXPECT_EQ(r->out_height, 80u);
}

TEST(Setup, OtherResizeModesOnlyCrop) {
  for (const int mode : {1, 3, 99, -1}) {
    resize_request request = copy_request(16, 8, 8, 8);
    request.resize_mode = mode;
    request.interpolation = 77;
    resizer_8 r(request);
    EXPECT_EQ(r.result, 1) << mode;
    EXPECT_EQ(r->copy_only, 1u);
    EXPECT_EQ(r->field_mode, 0u);
  }
  resize_request fields = scale_request(3, 16, 8, 8, 8);
  fields.resize_mode = 2;
  resizer_8 r(fields);
  EXPECT_EQ(r.result, 1);
  EXPECT_EQ(r->copy_only, 0u);
  EXPECT_EQ(r->field_mode, 1u);
}

TEST(Setup, UnknownLayoutIsRejectedInEveryMode) {
  for (const int mode : {0, 1, 2}) {
    for (const int space : {0, 9, -1}) {
      resize_request request = scale_request(space, 16, 8, 8, 8);
      request.resize_mode = mode;
      EXPECT_EQ(resizer_8(request).result, -1);
      // An unknown interpolation is reported first, if the plan uses an interpolation.
      request.interpolation = 5;
      EXPECT_EQ(resizer_8(request).result, mode == 1 ? -1 : 0);
    }
  }
}

TEST(Setup, SixteenBitPlanKeepsSizesInSamples) {
  resizer_16 r(scale_request(7, 16, 8, 20, 10));
  ASSERT_EQ(r.result, 1);
  EXPECT_EQ(r->out_frame_size, 400u);
  EXPECT_EQ(r->get_output_size(), 800);
  EXPECT_EQ(r->in_planes[0]->data[0], 0);
  resizer_8 narrow(scale_request(3, 16, 8, 20, 10));
  EXPECT_EQ(narrow->in_planes[0]->data[0], 128);
}

// The source that remains if a crop is rejected, and the size of the output.
void expect_refused(const resize_request& request) {
  resizer_8 r(request);
  EXPECT_EQ(r.result, 1);
  EXPECT_EQ(r->in_width, 0u);
  EXPECT_EQ(r->in_height, 0u);
  EXPECT_FALSE(r->cropper.ratio_set);
  const bool copies = request.resize_mode == 1;
  EXPECT_EQ(r->get_output_size(), copies ? 0 : request.out_width * request.out_height * 2);
}

TEST(Setup, RefusedCropsLeaveNoSource) {
  for (const int mode : {0, 1, 2}) {
    for (const int amount : {16, 17, 1000000, std::numeric_limits<int>::max(), -1, -16,
                             std::numeric_limits<int>::min()}) {
      resize_request request = scale_request(3, 16, 8, 10, 6);
      request.resize_mode = mode;
      request.crop_left = amount;
      expect_refused(request);
      // A second amount with which the unsigned sum wraps to a small number.
      if (amount != std::numeric_limits<int>::min()) {
        request.crop_right = -amount;
        expect_refused(request);
      }
      resize_request rows = scale_request(3, 16, 8, 10, 6);
      rows.resize_mode = mode;
      rows.crop_top = amount;
      rows.crop_bottom = 1;
      expect_refused(rows);
    }
    resize_request all = scale_request(3, 16, 8, 10, 6);
    all.resize_mode = mode;
    all.crop_left = all.crop_right = 8;
    expect_refused(all);
    all.crop_right = 7;
    EXPECT_NE(resizer_8(all)->cropper.crop_valid, false);
  }
}

TEST(Setup, FitModeAbove2AndZeroTargetsLeaveNoSource) {
  for (const int mode : {0, 1, 2}) {
    for (const int fit : {3, 100, -1}) {
      resize_request request = scale_request(3, 16, 8, 10, 6);
      request.resize_mode = mode;
      request.fit_mode = fit;
      expect_refused(request);
    }
    resize_request empty = scale_request(3, 16, 8, 0, 6);
    empty.resize_mode = mode;
    expect_refused(empty);
    empty = scale_request(3, 16, 8, 10, 0);
    empty.resize_mode = mode;
    expect_refused(empty);
    resize_request no_input = scale_request(3, 0, 8, 10, 6);
    no_input.resize_mode = mode;
    expect_refused(no_input);
  }
}

TEST(Setup, NegativeSizesAreRejected) {
  EXPECT_EQ(resizer_8(scale_request(3, -16, 8, 10, 6)).result, -1);
  EXPECT_EQ(resizer_8(scale_request(3, 16, -8, 10, 6)).result, -1);
  EXPECT_EQ(resizer_8(scale_request(3, 16, 8, -10, 6)).result, -1);
  EXPECT_EQ(resizer_8(scale_request(3, 16, 8, 10, -6)).result, -1);
  EXPECT_EQ(resizer_8(scale_request(3, 16, 8, std::numeric_limits<int>::min(), 6)).result, -1);
}

TEST(Setup, PlansTooLargeAreRejected) {
  // Output, input, and the picture between the passes; the products wrap in 32 bits.
  EXPECT_EQ(resizer_8(scale_request(3, 16, 8, 65536, 65536)).result, -1);
  EXPECT_EQ(resizer_8(scale_request(3, 65536, 65536, 16, 8)).result, -1);
  EXPECT_EQ(resizer_8(scale_request(1, 0x7FFFFFFE, 0x7FFFFFFE, 16, 8)).result, -1);
  EXPECT_EQ(resizer_8(scale_request(3, 16, 8, 0x7FFFFFFF, 0x7FFFFFFF)).result, -1);
  EXPECT_EQ(resizer_8(scale_request(4, 70000, 2, 2, 70000)).result, -1);
  // 2^30 samples fit with 8 bits but not with 16.
  EXPECT_EQ(resizer_16(scale_request(7, 16, 8, 32768, 16384)).result, -1);
  resize_request padded = scale_request(3, 1000, 2, 10, 10);
  padded.fit_mode = 2;
  padded.aspect_preset = 1;
  padded.aspect_x = 1.0f;
  padded.aspect_y = 1e9f;
  EXPECT_EQ(resizer_8(padded).result, -1);
  // An unknown interpolation is reported first.
  padded.interpolation = 100;
  EXPECT_EQ(resizer_8(padded).result, 0);
}

TEST(Setup, FitAmountsCountModulo32Bits) {
  // 2 x 2 with pixels so narrow that 2^32 + 510 columns of border are required.
  resize_request request = scale_request(4, 2, 2, 2, 2);
  request.fit_mode = 2;
  request.aspect_preset = 1;
  request.aspect_x = 1.0f;
  request.aspect_y = 2147483904.0f;
  resizer_8 r(request);
  EXPECT_EQ(r.result, 1);
  EXPECT_EQ(r->in_width, 512u);
  EXPECT_EQ(r->cropper.pad_left + r->cropper.pad_right, 510u);
}

TEST(Setup, AFitThatLeavesNothingStands) {
  // Cropping 100 x 2 to a ratio of almost 0 removes all columns.
  resize_request request = scale_request(4, 100, 2, 1, 30000);
  request.fit_mode = 1;
  resizer_8 r(request);
  EXPECT_EQ(r.result, 1);
  EXPECT_EQ(r->in_width, 0u);
  EXPECT_EQ(r->in_height, 2u);
}

TEST(Setup, AnEmptyOutputTakesNoMemory) {
  for (const int mode : {0, 2}) {
    resize_request request = scale_request(3, 16, 8, 0, 0x7FFFFFFF);
    request.resize_mode = mode;
    resizer_8 r(request);
    EXPECT_EQ(r.result, 1);
    EXPECT_EQ(r->x_index_vecs, nullptr);
    EXPECT_TRUE(r.process(std::vector<unsigned char>(256, 1)).empty());
    EXPECT_EQ(r->frames_in, 1u);
  }
}

TEST(Setup, ASecondInitStartsAnew) {
  resizer_8 r(scale_request(6, 32, 16, 64, 48, 3));
  ASSERT_EQ(r.result, 1);
  r.process(std::vector<unsigned char>(32 * 16 * 4, 9));
  resize_request second = scale_request(3, 16, 8, 8, 8, 1);
  second.crop_left = 2;
  r.init(second);
  ASSERT_EQ(r.result, 1);
  EXPECT_EQ(r->plane_count, 3u);
  EXPECT_EQ(r->taps, 2u);
  EXPECT_EQ(r->frames_in, 0u);
  EXPECT_EQ(r->get_output_size(), 128);
  std::vector<unsigned char> frame(16 * 8 * 2, 50);
  EXPECT_EQ(r.process(frame), resizer_8(second).process(frame));
  r.init(scale_request(3, 16, 7, 8, 8));
  EXPECT_EQ(r.result, -1);
  EXPECT_EQ(r->get_output_size(), 0);
  EXPECT_TRUE(r.process(frame).empty());
}

}  // namespace
}  // namespace ns_video_resize
