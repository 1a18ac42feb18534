#include "host/cmhost/picture/picture_layout.h"

#include <gtest/gtest.h>

namespace {

struct Case {
  AVPixelFormat format;
  const char* closest;
};

TEST(PictureLayout, ClosestKeepsAllChromaAndAddsTheLeast) {
  constexpr Case cases[] = {
      {AV_PIX_FMT_YUV420P10, "IYUV"}, {AV_PIX_FMT_NV12, "IYUV"},   {AV_PIX_FMT_YUV422P10, "Y22P"},
      {AV_PIX_FMT_UYVY422, "Y22P"},   {AV_PIX_FMT_RGB24, "Y44P"},  {AV_PIX_FMT_GBRP10, "Y44P"},
      {AV_PIX_FMT_PAL8, "Y44P"},      {AV_PIX_FMT_GRAY8, "IYUV"},  {AV_PIX_FMT_GRAY10, "IYUV"},
      {AV_PIX_FMT_YA8, "IYUV"},       {AV_PIX_FMT_YUV440P, "Y44P"}};
  for (const Case& each : cases)
    EXPECT_EQ(cmhost::fourccText(cmhost::closestLayout(each.format).fourcc), each.closest)
        << each.format;
}

}  // namespace
