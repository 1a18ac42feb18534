#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "tests/video/resize/resizer_under_test.h"

namespace ns_video_resize {
namespace {

float weight(unsigned int method, float parameter, float distance) {
  video_resize_impl<unsigned char> object;
  object.interpolation = method;
  object.kernel_param = parameter;
  return object.calculate_weight(distance);
}

TEST(Kernels, Linear) {
  EXPECT_EQ(weight(1, 0, 0.0f), 1.0f);
  EXPECT_EQ(weight(1, 0, 0.25f), 0.75f);
  EXPECT_EQ(weight(1, 0, 0.75f), 0.25f);
  EXPECT_EQ(weight(1, 0, 1.0f), 0.0f);
  EXPECT_EQ(weight(1, 0, 2.0f), 1.0f);
  EXPECT_EQ(weight(1, 0, 5.5f), 4.5f);
}

TEST(Kernels, CubicConvolution) {
  for (const float a : {-0.5f, -1.0f, -0.75f, 0.0f, 0.3f}) {
    EXPECT_EQ(weight(2, a, 0.0f), 1.0f);
    EXPECT_NEAR(weight(2, a, 1.0f), 0.0f, 5e-7f);
    EXPECT_NEAR(weight(2, a, 2.0f), 0.0f, 5e-7f);
    EXPECT_EQ(weight(2, a, 2.001f), 0.0f);
    EXPECT_EQ(weight(2, a, -0.5f), 0.0f);
  }
  EXPECT_EQ(weight(2, -0.5f, 1.0f), 0.0f);
  EXPECT_EQ(weight(2, -0.5f, 2.0f), 0.0f);
  // (a + 2)/8 - (a + 3)/4 + 1 and a(27/8 - 45/4 + 12 - 4), exact for these a.
  EXPECT_EQ(weight(2, -0.5f, 0.5f), 0.5625f);
  EXPECT_EQ(weight(2, -0.5f, 1.5f), -0.0625f);
  EXPECT_EQ(weight(2, -1.0f, 0.5f), 0.625f);
  EXPECT_EQ(weight(2, -1.0f, 1.5f), -0.125f);
}

TEST(Kernels, BSpline) {
  EXPECT_EQ(weight(3, 0, 0.0f), 0.6666667f);
  EXPECT_FLOAT_EQ(weight(3, 0, 1.0f), 0.16666667f);
  EXPECT_FLOAT_EQ(weight(3, 0, 0.5f), 23.0f / 48.0f);
  EXPECT_NEAR(weight(3, 0, 1.5f), 1.0f / 48.0f, 1e-6f);
  EXPECT_NEAR(weight(3, 0, 2.0f), 0.0f, 3e-7f);
  EXPECT_EQ(weight(3, 0, 2.01f), 0.0f);
  EXPECT_EQ(weight(3, 0, -0.1f), 0.0f);
}

TEST(Kernels, BoxAndUnknownMethods) {
  for (const float x : {-3.0f, 0.0f, 0.7f, 1000.0f}) {
    EXPECT_EQ(weight(4, 0, x), 1.0f);
    EXPECT_EQ(weight(0, -0.5f, x), 0.0f);
    EXPECT_EQ(weight(5, -0.5f, x), 0.0f);
  }
}

// The sums in their order, one rounded operation per line, for distances in steps of about
// 1/2048.
TEST(Kernels, OrderOfTheSums) {
  for (int i = 0; i <= 2 * 2048; ++i) {
    const float x = static_cast<float>(i) / 2048.0f * 0.99999f;
    const volatile float x2 = x * x;
    const volatile float x3 = x2 * x;
    for (const float a : {-0.5f, -0.6f, 1.0f / 3.0f}) {
      volatile float sum;
      if (x <= 1.0f) {
        const volatile float cubic = (a + 2.0f) * x3;
        const volatile float square = (a + 3.0f) * x2;
        sum = cubic - square;
        sum = sum + 1.0f;
      } else {
        sum = a * x3;
        volatile float term = -5.0f * a;
        term = term * x;
        term = term * x;
        sum = sum + term;
        term = 8.0f * a;
        term = term * x;
        sum = sum + term;
        term = -4.0f * a;
        sum = sum + term;
      }
      const float expected = sum;
      ASSERT_EQ(weight(2, a, x), expected) << a << " at " << x;
    }
    volatile float sum;
    if (x <= 1.0f) {
      sum = 0.5f * x3;
      sum = sum - x2;
      sum = sum + 0.6666667f;
    } else {
      sum = -0.16666667f * x3;
      sum = sum + x2;
      const volatile float twice = 2.0f * x;
      sum = sum - twice;
      sum = sum + 1.3333334f;
    }
    const float expected = sum;
    ASSERT_EQ(weight(3, 0, x), expected) << x;
  }
}

TEST(Tables, EqualSizeIsTheIdentity) {
  // Only one axis keeps its size, so that the plan scales.
  resizer_8 r(scale_request(4, 16, 8, 16, 12));
  ASSERT_EQ(r.result, 1);
  for (unsigned int j = 0; j < 16; ++j) {
    EXPECT_EQ(r->x_index_vecs[0][j], j < 1 ? 0 : j > 13 ? 12 : j - 1) << j;
    for (unsigned int k = 0; k < 4; ++k) {
      EXPECT_EQ(r->x_weight_vecs[k][j], r->x_index_vecs[0][j] + k == j ? 1.0f : 0.0f) << j;
    }
  }
}

TEST(Tables, NearestSampleIsOneToTheRight) {
  resizer_8 r(scale_request(3, 800, 186, 400, 93, 4));
  ASSERT_EQ(r.result, 1);
  EXPECT_EQ(r->x_index_vecs[0][0], 1u);
  EXPECT_EQ(r->x_index_vecs[0][399], 799u);
  EXPECT_EQ(r->x_index_vecs[0][1], 3u);  // floor(799/399) + 1
  EXPECT_EQ(r->y_index_vecs[0][0], 1u);
}

TEST(Tables, BSplineEdgesSumToFiveSixths) {
  resizer_8 r(scale_request(4, 16, 8, 30, 20, 3));
  ASSERT_EQ(r.result, 1);
  const auto sum = [&](float** weights, unsigned int j) {
    return weights[0][j] + weights[1][j] + weights[2][j] + weights[3][j];
  };
  EXPECT_EQ(r->x_weight_vecs[0][0], 2.0f / 3.0f);
  EXPECT_FLOAT_EQ(r->x_weight_vecs[1][0], 1.0f / 6.0f);
  EXPECT_NEAR(r->x_weight_vecs[2][0], 0.0f, 3e-7f);
  EXPECT_EQ(r->x_weight_vecs[3][0], 0.0f);
  EXPECT_FLOAT_EQ(sum(r->x_weight_vecs, 0), 5.0f / 6.0f);
  EXPECT_FLOAT_EQ(sum(r->x_weight_vecs, 29), 5.0f / 6.0f);
  EXPECT_FLOAT_EQ(sum(r->y_weight_vecs, 0), 5.0f / 6.0f);
  EXPECT_FLOAT_EQ(sum(r->y_weight_vecs, 19), 5.0f / 6.0f);
  EXPECT_NEAR(sum(r->x_weight_vecs, 11), 1.0f, 1e-6f);
}

TEST(Tables, LinearWeightsFollowThePosition) {
  resizer_8 r(scale_request(4, 4, 8, 7, 8, 1));
  ASSERT_EQ(r.result, 1);
  // Ratio 3/6: positions 0, 0.5, 1, ...; the last one is beyond the last span of two taps.
  for (unsigned int j = 0; j < 6; ++j) {
    EXPECT_EQ(r->x_index_vecs[0][j], j / 2);
    EXPECT_EQ(r->x_weight_vecs[0][j], j % 2 == 0 ? 1.0f : 0.5f);
    EXPECT_EQ(r->x_weight_vecs[1][j], j % 2 == 0 ? 0.0f : 0.5f);
  }
  EXPECT_EQ(r->x_index_vecs[0][6], 2u);
  EXPECT_EQ(r->x_weight_vecs[0][6], 0.0f);
  EXPECT_EQ(r->x_weight_vecs[1][6], 1.0f);
}

TEST(Tables, FieldsHaveTheirOwnRatio) {
  resize_request request = scale_request(3, 720, 576, 720, 480);
  request.resize_mode = 2;
  resizer_8 r(request);
  ASSERT_EQ(r.result, 1);
  const float ratio = 287.0f / 239.0f;
  for (unsigned int row = 2; row < 238; ++row) {
    const float position = static_cast<float>(row) * ratio;
    ASSERT_EQ(r->y_index_vecs[0][row], static_cast<unsigned int>(position) - 1) << row;
  }
  EXPECT_EQ(r->y_index_vecs[0][239], 284u);
  // The entries after the rows of a field are never used, but they are initialised.
  EXPECT_EQ(r->y_index_vecs[0][240], 0u);
  EXPECT_EQ(r->y_index_vecs[1][479], 0u);
}

TEST(Tables, ChromaTakesOverTheLumaPositionsInsideItsPlane) {
  resize_request request = scale_request(1, 64, 48, 40, 36);
  for (const int mode : {0, 2}) {
    request.resize_mode = mode;
    resizer_8 r(request);
    ASSERT_EQ(r.result, 1);
    for (unsigned int j = 0; j < 20; ++j) {
      ASSERT_EQ(r->x_index_vecs[1][j], std::min(r->x_index_vecs[0][j], 28u));
    }
    for (unsigned int row = 0; row < 18; ++row) {
      ASSERT_EQ(r->y_index_vecs[2][row], std::min(r->y_index_vecs[0][row], 20u));
    }
  }
  // The limit applies: four chroma columns have one span of four taps.
  resizer_8 narrow(scale_request(3, 8, 8, 6, 8));
  ASSERT_EQ(narrow.result, 1);
  for (unsigned int j = 0; j < 3; ++j) EXPECT_EQ(narrow->x_index_vecs[1][j], 0u);
  EXPECT_GT(narrow->x_index_vecs[0][2], 0u);
}

TEST(Tables, FullSizePlanesOfAlphaLayoutsShareTheTable) {
  resizer_8 r(scale_request(5, 16, 8, 40, 12));
  ASSERT_EQ(r.result, 1);
  for (unsigned int j = 0; j < 40; ++j) {
    EXPECT_EQ(r->x_index_vecs[1][j], r->x_index_vecs[0][j]);
  }
}

TEST(Tables, ASingleOutputSampleStandsAtTheFirstSourceSample) {
  resizer_8 r(scale_request(4, 16, 8, 1, 1));
  ASSERT_EQ(r.result, 1);
  EXPECT_EQ(r->x_index_vecs[0][0], 0u);
  EXPECT_EQ(r->x_weight_vecs[0][0], 1.0f);
  EXPECT_EQ(r->x_weight_vecs[1][0], 0.0f);
  resizer_8 nearest(scale_request(4, 16, 8, 1, 1, 4));
  EXPECT_EQ(nearest->x_index_vecs[0][0], 1u);
}

TEST(Tables, SpansStayInsideEveryPlane) {
  for (int space = 1; space <= 6; ++space) {
    for (const int interpolation : {1, 2, 3, 4}) {
      for (int in = 2; in <= 12; in += 2) {
        for (int out = 1; out <= 13; ++out) {
          resizer_8 r(scale_request(space, in, 8, out, 5, interpolation));
          ASSERT_EQ(r.result, 1);
          for (unsigned int p = 0; p < r->plane_count; ++p) {
            const unsigned int width = r->in_planes[p]->width;
            const unsigned int last = width > r->taps ? width - r->taps : 0;
            for (unsigned int j = 0; j < r->out_planes[p]->width; ++j) {
              ASSERT_LE(r->x_index_vecs[p][j], last) << space << " " << in << " to " << out;
            }
          }
        }
      }
    }
  }
}

TEST(Tables, ReleasedTwiceIsHarmless) {
  resizer_8 r(scale_request(4, 16, 8, 8, 4));
  r->free_interpol_vecs();
  EXPECT_EQ(r->x_index_vecs, nullptr);
  r->free_interpol_vecs();
}

}  // namespace
}  // namespace ns_video_resize
