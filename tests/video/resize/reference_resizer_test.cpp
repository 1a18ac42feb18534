// Tests of the reference implementation itself, with numbers worked out by hand.
#include "tests/video/resize/reference_resizer.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace reference {
namespace {

resize_request request(int out_width, int out_height, int in_width, int in_height, int space) {
  resize_request r;
  r.created_for = r.space = space;
  r.out_width = out_width;
  r.out_height = out_height;
  r.in_width = in_width;
  r.in_height = in_height;
  return r;
}

TEST(ReferenceKernel, TakesItsKnownValues) {
  EXPECT_EQ(0.75F, kernel(1, 0, 0.25F));
  EXPECT_EQ(0.25F, kernel(1, 0, 0.75F));
  EXPECT_EQ(1.0F, kernel(1, 0, 2.0F));
  EXPECT_EQ(1.0F, kernel(2, -0.5F, 0.0F));
  EXPECT_EQ(0.0F, kernel(2, -0.5F, 1.0F));
  EXPECT_EQ(0.5625F, kernel(2, -0.5F, 0.5F));
  EXPECT_EQ(-0.0625F, kernel(2, -0.5F, 1.5F));
  EXPECT_EQ(0.0F, kernel(2, -0.5F, 2.5F));
  EXPECT_EQ(0.6666667F, kernel(3, 0, 0.0F));
  EXPECT_NEAR(1.0 / 6, kernel(3, 0, 1.0F), 1e-7);
  EXPECT_NEAR(23.0 / 48, kernel(3, 0, 0.5F), 1e-7);
  EXPECT_NEAR(1.0 / 48, kernel(3, 0, 1.5F), 1e-7);
  EXPECT_EQ(1.0F, kernel(4, 0, 100.0F));
  EXPECT_EQ(0.0F, kernel(0, 0, 0.5F));
  EXPECT_EQ(0.0F, kernel(5, 0, 0.5F));
}

TEST(ReferenceTable, EqualSizesUnderCubicConvolutionAreTheIdentity) {
  const axis_table table = make_axis_table(10, 10, 2, -0.5F);
  EXPECT_EQ((std::vector<std::int64_t>{0, 0, 1, 2, 3, 4, 5, 6, 6, 6}), table.start);
  for (std::size_t j = 0; j < 10; ++j) {
    for (std::size_t k = 0; k < 4; ++k) {
      EXPECT_EQ(table.start[j] + static_cast<std::int64_t>(k) == static_cast<std::int64_t>(j),
                table.weight[j][k] == 1.0F);
    }
  }
}

TEST(ReferenceTable, NearestTakesTheSampleToTheRight) {
  const axis_table table = make_axis_table(800, 400, 4, 0);
  EXPECT_EQ(1, table.start.front());
  EXPECT_EQ(3, table.start[1]);
  EXPECT_EQ(799, table.start.back());
}

TEST(ReferenceTable, BSplineEdgesSumToFiveSixths) {
  const axis_table table = make_axis_table(100, 37, 3, 0);
  const auto& first = table.weight.front();
  const auto& last = table.weight.back();
  EXPECT_EQ(0.6666667F, first[0]);
  EXPECT_NEAR(1.0 / 6, first[1], 1e-7);
  EXPECT_NEAR(0.0, first[2], 1e-6);
  EXPECT_EQ(0.0F, first[3]);
  EXPECT_EQ(0.6666667F, last[3]);
  EXPECT_NEAR(1.0 / 6, last[2], 1e-7);
  EXPECT_NEAR(0.0, last[1], 1e-6);
  EXPECT_EQ(0.0F, last[0]);
}

TEST(ReferenceTable, TinyAxesStayInside) {
  for (const int method : {1, 2, 3, 4}) {
    for (std::int64_t source = 1; source < 6; ++source) {
      for (std::int64_t outputs = 1; outputs < 9; ++outputs) {
        for (const std::int64_t start : make_axis_table(source, outputs, method, -0.5F).start) {
          EXPECT_GE(start, 0);
          EXPECT_LT(start, source);
        }
      }
    }
  }
}

TEST(ReferenceCrop, FollowsTheWorkedExamples) {
  resize_request r = request(1024, 576, 720, 576, 4);
  r.aspect_preset = 2;
  r.fit_mode = 2;
  crop_plan plan = plan_crop(r);
  EXPECT_EQ(958U, plan.width);
  EXPECT_EQ(576U, plan.height);
  EXPECT_EQ(120U, plan.pad_left);
  EXPECT_EQ(118U, plan.pad_right);
  r.fit_mode = 1;
  plan = plan_crop(r);
  EXPECT_EQ(720U, plan.width);
  EXPECT_EQ(432U, plan.height);
  EXPECT_EQ(72U, plan.top);
  EXPECT_EQ(72U, plan.bottom);
  r.fit_mode = 3;
  EXPECT_TRUE(plan_crop(r).refused);

  r = request(712, 576, 720, 576, 4);
  r.crop_left = 3;
  r.crop_right = 5;
  plan = plan_crop(r);
  EXPECT_EQ(4U, plan.left);
  EXPECT_EQ(4U, plan.right);
  EXPECT_EQ(712U, plan.width);
}

TEST(ReferenceCrop, CentresWhatIsOnlyCroppedOrPadded) {
  resize_request r = request(1280, 720, 1920, 1080, 3);
  r.resize_mode = 1;
  crop_plan plan = plan_crop(r);
  EXPECT_EQ(320U, plan.left);
  EXPECT_EQ(320U, plan.right);
  EXPECT_EQ(180U, plan.top);
  EXPECT_EQ(180U, plan.bottom);
  r.out_width = 1281;
  plan = plan_crop(r);
  EXPECT_EQ(320U, plan.left);
  EXPECT_EQ(318U, plan.right);
  EXPECT_EQ(1282U, plan.width);
  r.in_width = 720;
  plan = plan_crop(r);
  EXPECT_EQ(280U, plan.pad_left);
  EXPECT_EQ(280U, plan.pad_right);
  EXPECT_EQ(1280U, plan.width);
}

TEST(ReferenceSmoothing, RoundsAsWorkedOutByHand) {
  const auto centre_with_above = [](std::uint16_t above) {
    plane p(3, 3);
    p.at(1, 0) = above;
    return smoothed(p, 3).at(1, 1);
  };
  EXPECT_EQ(0, centre_with_above(4));   // 8 / 16
  EXPECT_EQ(2, centre_with_above(12));  // 24 / 16
  EXPECT_EQ(2, centre_with_above(20));  // 40 / 16
  EXPECT_EQ(4, centre_with_above(28));  // 56 / 16

  plane p(9, 9);
  p.at(4, 4) = 255;
  const plane q = smoothed(p, 5);
  EXPECT_EQ(57, q.at(4, 4));
  EXPECT_EQ(1, q.at(2, 2));
  EXPECT_EQ(0, q.at(1, 4));

  plane constant(6, 5);
  constant.samples.assign(30, 65535);
  EXPECT_EQ(constant.samples, smoothed(constant, 3).samples);
  EXPECT_EQ(constant.samples, smoothed(constant, 5).samples);
}

TEST(ReferenceInit, ReturnsWhatTheRequestDeserves) {
  const auto init = [](const resize_request& r) { return reference_resizer().init(r); };
  resize_request r = request(1728, 402, 800, 186, 3);
  r.aspect_preset = 1;
  r.aspect_x = 1728;
  r.aspect_y = 402;
  r.interpolation = 3;
  reference_resizer resizer;
  EXPECT_EQ(1, resizer.init(r));
  EXPECT_EQ(1728U * 402 * 2, resizer.output_size());
  r.in_width = 801;
  EXPECT_EQ(-1, init(r));
  r.in_width = 800;
  r.interpolation = 5;
  EXPECT_EQ(0, init(r));
  r.interpolation = 1;
  r.space = 9;
  EXPECT_EQ(-1, init(r));
  r = request(100, 100, 200, 200, 7);
  EXPECT_EQ(1, resizer.init(r));
  EXPECT_EQ(100U * 100 * 2 * 2, resizer.output_size());
  r.crop_left = 200;
  EXPECT_EQ(1, resizer.init(r));
  EXPECT_EQ(100U * 100 * 2 * 2, resizer.output_size());
  r.resize_mode = 1;
  EXPECT_EQ(1, resizer.init(r));
  EXPECT_EQ(0U, resizer.output_size());
}

// A negative display aspect requires more columns to be cropped than there are, or a border whose
// size wraps.
TEST(ReferenceInit, TurnsDownAFitThatCannotBeMade) {
  resize_request r = request(64, 64, 64, 64, 4);
  r.aspect_preset = 1;
  r.aspect_x = -4.0F;
  r.aspect_y = 3.0F;
  for (const int fit_mode : {1, 2}) {
    r.fit_mode = fit_mode;
    EXPECT_EQ(-1, reference_resizer().init(r)) << fit_mode;
  }
}

// 4 x 2 samples to 7 x 2 by linear interpolation: every other output is half way between two
// samples.
TEST(ReferenceProcess, ScalesAPlaneWorkedOutByHand) {
  resize_request r = request(7, 2, 4, 2, 4);
  r.interpolation = 1;
  reference_resizer resizer;
  ASSERT_EQ(1, resizer.init(r));
  std::vector<unsigned char> in(24, 9);
  const unsigned char luma[] = {0, 10, 21, 200, 255, 0, 1, 2};
  std::copy(std::begin(luma), std::end(luma), in.begin());
  const expected_frame out = resizer.process(24, in.data());
  const std::vector<unsigned char> expected = {0, 5, 10, 16, 21, 110, 200, 255, 128, 0, 0, 1, 2, 2};
  EXPECT_EQ(expected, std::vector<unsigned char>(out.bytes.begin(), out.bytes.begin() + 14));
  EXPECT_EQ(std::vector<unsigned char>(28, 9),
            std::vector<unsigned char>(out.bytes.begin() + 14, out.bytes.end()));
}

}  // namespace
}  // namespace reference
