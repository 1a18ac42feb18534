#include <gtest/gtest.h>

#include <memory>
#include <type_traits>

#include "tests/support/virtual_slot.h"
#include "tests/video/watermark/exact_blend.h"
#include "video/watermark/watermark_impl.h"

namespace {

using ns_video_watermark::watermark;
using ns_video_watermark::watermark_config;
using ns_video_watermark::watermark_impl;
using watermark_test::exact_share;

watermark_config record(unsigned int frame_width, unsigned int frame_height, unsigned int width,
                        unsigned int height, unsigned int x, unsigned int y, unsigned int format) {
  return {frame_width, frame_height, width, height, x, y, 100, format, 1};
}

struct outcome {
  unsigned int result;
  unsigned int frame_size;
};

outcome configure(watermark_impl& object, const watermark_config& settings) {
  outcome got{77, 77};
  got.result = object.configure(new watermark_config(settings), got.frame_size);
  return got;
}

TEST(WatermarkConfig, IsNineWordsInOrder) {
  static_assert(std::is_standard_layout_v<watermark_config>);
  EXPECT_EQ(sizeof(watermark_config), 36U);
  const watermark_config c = {1, 2, 3, 4, 5, 6, 7, 8, 9};
  EXPECT_EQ(c.frame_width, 1U);
  EXPECT_EQ(c.frame_height, 2U);
  EXPECT_EQ(c.width, 3U);
  EXPECT_EQ(c.height, 4U);
  EXPECT_EQ(c.x, 5U);
  EXPECT_EQ(c.y, 6U);
  EXPECT_EQ(c.opacity, 7U);
  EXPECT_EQ(c.format, 8U);
  EXPECT_EQ(c.hold_last_image, 9U);
}

TEST(Watermark, OrderOfTheInterface) {
  using test_support::virtual_slot;
  EXPECT_EQ(virtual_slot(&watermark::configure), 0U);
  EXPECT_EQ(virtual_slot(&watermark::add_watermark_image), 1U);
  EXPECT_EQ(virtual_slot(&watermark::process), 2U);
}

TEST(Watermark, IsCreatedUnconfiguredAndDestroyed) {
  watermark* const object = watermark::create();
  const auto* const impl = dynamic_cast<watermark_impl*>(object);
  ASSERT_NE(impl, nullptr);
  EXPECT_EQ(impl->config, nullptr);
  EXPECT_TRUE(impl->images.empty());
  EXPECT_EQ(impl->config_error, 0U);
  EXPECT_EQ(impl->image_index, 0U);
  EXPECT_EQ(impl->opacity_table, nullptr);
  watermark::destroy(object);
  watermark::destroy(nullptr);
}

TEST(Configure, AnOverlayThatTouchesTheEdgeFits) {
  watermark_impl object;
  const outcome got = configure(object, record(64, 32, 24, 12, 40, 20, 0));
  EXPECT_EQ(got.result, 0U);
  EXPECT_EQ(got.frame_size, 64U * 32 * 3 / 2);
}

TEST(Configure, OneColumnOrRowMoreDoesNotFitAndTheFrameSizeIsStillWritten) {
  for (const watermark_config& c :
       {record(64, 32, 25, 12, 40, 20, 1), record(64, 32, 24, 13, 40, 20, 1)}) {
    watermark_impl object;
    const outcome got = configure(object, c);
    EXPECT_EQ(got.result, 1U);
    EXPECT_EQ(object.config_error, 1U);
    EXPECT_EQ(got.frame_size, 64U * 32 * 2);
    EXPECT_EQ(object.frame_size, got.frame_size);
  }
}

TEST(Configure, FitIsCheckedWhateverTheFormat) {
  watermark_impl object;
  EXPECT_EQ(configure(object, record(64, 32, 25, 12, 40, 20, 9)).result, 1U);
}

TEST(Configure, FrameSizesOfFullHd) {
  const unsigned int expected[] = {3110400, 4147200, 6220800};
  for (unsigned int format = 0; format < 3; ++format) {
    watermark_impl object;
    const outcome got = configure(object, record(1920, 1080, 1728, 401, 96, 339, format));
    EXPECT_EQ(got.result, 0U);
    EXPECT_EQ(got.frame_size, expected[format]);
  }
}

TEST(Configure, HalvesRoundDown) {
  watermark_impl object;
  configure(object, record(1921, 1081, 1727, 401, 97, 339, 0));
  EXPECT_EQ(object.overlay_chroma_x, 48U);
  EXPECT_EQ(object.overlay_chroma_width, 863U);
  EXPECT_EQ(object.chroma_width, 960U);
  EXPECT_EQ(object.chroma_height, 540U);
  EXPECT_EQ(object.overlay_chroma_y, 169U);
  EXPECT_EQ(object.overlay_chroma_height, 200U);
}

TEST(Configure, DerivesEveryMemberOf420) {
  watermark_impl o;
  configure(o, record(101, 51, 31, 17, 13, 5, 0));
  EXPECT_EQ(o.luma_width, 101U);
  EXPECT_EQ(o.luma_height, 51U);
  EXPECT_EQ(o.chroma_width, 50U);
  EXPECT_EQ(o.chroma_height, 25U);
  EXPECT_EQ(o.overlay_width, 31U);
  EXPECT_EQ(o.overlay_height, 17U);
  EXPECT_EQ(o.overlay_chroma_width, 15U);
  EXPECT_EQ(o.overlay_chroma_height, 8U);
  EXPECT_EQ(o.overlay_x, 13U);
  EXPECT_EQ(o.overlay_y, 5U);
  EXPECT_EQ(o.overlay_chroma_x, 6U);
  EXPECT_EQ(o.overlay_chroma_y, 2U);
  EXPECT_EQ(o.luma_size, 5151U);
  EXPECT_EQ(o.chroma_size, 1250U);
  EXPECT_EQ(o.overlay_luma_size, 527U);
  EXPECT_EQ(o.overlay_chroma_size, 120U);
  EXPECT_EQ(o.frame_size, 7651U);
  EXPECT_EQ(o.overlay_buffer_size, 1294U);
  EXPECT_EQ(o.luma_above, 505U);
  EXPECT_EQ(o.chroma_above, 100U);
  EXPECT_EQ(o.luma_below, 29U * 101);
  EXPECT_EQ(o.chroma_below, 15U * 50);
  EXPECT_EQ(o.luma_right, 57U);
  EXPECT_EQ(o.chroma_right, 29U);
  EXPECT_EQ(o.alpha_step_x, 2U);
  EXPECT_EQ(o.alpha_step_y, 2U);
}

TEST(Configure, DerivesTheChromaOf422And444) {
  watermark_impl o;
  configure(o, record(101, 51, 31, 17, 13, 5, 1));
  EXPECT_EQ(o.chroma_width, 50U);
  EXPECT_EQ(o.chroma_height, 51U);
  EXPECT_EQ(o.overlay_chroma_width, 15U);
  EXPECT_EQ(o.overlay_chroma_height, 17U);
  EXPECT_EQ(o.overlay_chroma_x, 6U);
  EXPECT_EQ(o.overlay_chroma_y, 5U);
  EXPECT_EQ(o.alpha_step_x, 2U);
  EXPECT_EQ(o.alpha_step_y, 1U);

  watermark_impl full;
  configure(full, record(101, 51, 31, 17, 13, 5, 2));
  EXPECT_EQ(full.chroma_width, 101U);
  EXPECT_EQ(full.chroma_height, 51U);
  EXPECT_EQ(full.overlay_chroma_width, 31U);
  EXPECT_EQ(full.overlay_chroma_height, 17U);
  EXPECT_EQ(full.overlay_chroma_x, 13U);
  EXPECT_EQ(full.overlay_chroma_y, 5U);
  EXPECT_EQ(full.alpha_step_x, 1U);
  EXPECT_EQ(full.alpha_step_y, 1U);
}

TEST(Configure, AnUnknownFormatLeavesThePlanesAsTheyWere) {
  watermark_impl object;
  outcome got = configure(object, record(64, 32, 8, 4, 2, 2, 3));
  EXPECT_EQ(got.result, 0U);
  EXPECT_EQ(got.frame_size, 0U);
  EXPECT_EQ(object.luma_width, 0U);
  EXPECT_EQ(object.alpha_step_x, 0U);

  watermark_impl again;
  got = configure(again, record(64, 32, 8, 4, 2, 2, 1));
  const std::unique_ptr<watermark_config> first(again.config);
  got = configure(again, record(128, 64, 16, 8, 4, 4, 3));
  EXPECT_EQ(got.result, 0U);
  EXPECT_EQ(got.frame_size, 64U * 32 * 2);
  EXPECT_EQ(again.overlay_width, 8U);
}

TEST(Configure, ANullRecordFails) {
  watermark_impl object;
  unsigned int frame_size = 77;
  EXPECT_EQ(object.configure(nullptr, frame_size), 1U);
  EXPECT_EQ(frame_size, 0U);
  unsigned char byte = 0;
  EXPECT_EQ(object.add_watermark_image(&byte, nullptr), 1U);
  EXPECT_EQ(object.process(&byte), nullptr);
}

TEST(Configure, MakesEverythingAnewAndFreesNothing) {
  watermark_impl object;
  watermark_config half = record(64, 32, 16, 8, 0, 0, 0);
  half.opacity = 50;
  configure(object, half);
  const std::unique_ptr<watermark_config> first_record(object.config);
  const std::unique_ptr<unsigned char[]> first_table(object.opacity_table);

  half.opacity = 25;
  half.format = 2;
  const outcome got = configure(object, half);
  EXPECT_EQ(got.frame_size, 64U * 32 * 3);
  EXPECT_NE(object.config, first_record.get());
  EXPECT_NE(object.opacity_table, first_table.get());
  EXPECT_EQ(first_record->opacity, 50U);  // both still exist
  EXPECT_EQ(first_table[255], 127U);
  EXPECT_EQ(object.opacity_table[255], 63U);
}

TEST(Configure, AFailureIsForgottenByTheNext) {
  watermark_impl object;
  EXPECT_EQ(configure(object, record(64, 32, 65, 8, 0, 0, 0)).result, 1U);
  const std::unique_ptr<watermark_config> first(object.config);
  EXPECT_EQ(configure(object, record(64, 32, 64, 8, 0, 0, 0)).result, 0U);
  EXPECT_EQ(object.config_error, 0U);
}

TEST(Opacity, AboveAHundredIsClampedInTheCallersRecord) {
  watermark_impl object;
  auto* const settings = new watermark_config(record(64, 32, 8, 4, 0, 0, 0));
  settings->opacity = 150;
  unsigned int frame_size = 0;
  EXPECT_EQ(object.configure(settings, frame_size), 0U);
  EXPECT_EQ(object.config, settings);
  EXPECT_EQ(settings->opacity, 100U);
  EXPECT_EQ(object.opacity_table, nullptr);
}

TEST(Opacity, AHundredNeedsNoTableAndNinetyNineDoes) {
  watermark_config c = record(64, 32, 8, 4, 0, 0, 0);
  watermark_impl whole;
  configure(whole, c);
  EXPECT_EQ(whole.opacity_table, nullptr);

  c.opacity = 99;
  watermark_impl almost;
  configure(almost, c);
  ASSERT_NE(almost.opacity_table, nullptr);
  EXPECT_EQ(almost.opacity_table[255], 252U);
}

TEST(Opacity, EveryTableIsTheSinglePrecisionProductRoundedDown) {
  for (unsigned int opacity = 0; opacity < 100; ++opacity) {
    watermark_config c = record(64, 32, 8, 4, 0, 0, 0);
    c.opacity = opacity;
    watermark_impl object;
    configure(object, c);
    const exact_share share(opacity, 100);
    for (unsigned int i = 0; i < 256; ++i) {
      ASSERT_EQ(object.opacity_table[i], share.of(i) >> share.shift())
          << "opacity " << opacity << ", entry " << i;
    }
  }
}

TEST(Opacity, KnownEntries) {
  watermark_config c = record(64, 32, 8, 4, 0, 0, 0);
  c.opacity = 50;
  watermark_impl half;
  configure(half, c);
  EXPECT_EQ(half.opacity_table[255], 127U);
  EXPECT_EQ(half.opacity_table[1], 0U);
  EXPECT_EQ(half.opacity_table[102], 51U);

  c.opacity = 0;
  watermark_impl none;
  configure(none, c);
  for (unsigned int i = 0; i < 256; ++i) ASSERT_EQ(none.opacity_table[i], 0U);
}

TEST(Opacity, TheTableIsBuiltForAnOverlayThatDoesNotFitToo) {
  watermark_config c = record(64, 32, 65, 4, 0, 0, 0);
  c.opacity = 50;
  watermark_impl object;
  EXPECT_EQ(configure(object, c).result, 1U);
  ASSERT_NE(object.opacity_table, nullptr);
  EXPECT_EQ(object.opacity_table[255], 127U);
}

TEST(LookupTable, IsBuiltFromTheRecordAndReplacesTheOneBefore) {
  watermark_config c = record(64, 32, 8, 4, 0, 0, 0);
  c.opacity = 50;
  watermark_impl object;
  configure(object, c);
  const std::unique_ptr<unsigned char[]> first(object.opacity_table);
  object.config->opacity = 20;
  EXPECT_EQ(object.generate_lookup_table(), 256U);
  EXPECT_NE(object.opacity_table, first.get());
  EXPECT_EQ(object.opacity_table[254], 50U);
  EXPECT_EQ(first[255], 127U);
}

TEST(LookupTable, StopsAtTheEndOfAByteForAnOpacityThatNobodyClamped) {
  watermark_impl object;
  configure(object, record(64, 32, 8, 4, 0, 0, 0));
  object.config->opacity = 200;
  EXPECT_EQ(object.generate_lookup_table(), 256U);
  EXPECT_EQ(object.opacity_table[100], 200U);
  EXPECT_EQ(object.opacity_table[127], 254U);
  EXPECT_EQ(object.opacity_table[128], 255U);
  EXPECT_EQ(object.opacity_table[255], 255U);
}

TEST(LookupTable, NeedsARecord) {
  watermark_impl object;
  EXPECT_EQ(object.generate_lookup_table(), 0U);
  EXPECT_EQ(object.opacity_table, nullptr);
}

TEST(LookupTable, FadesAnAlphaPlaneInPlace) {
  watermark_config c = record(64, 32, 5, 3, 0, 0, 0);
  c.opacity = 50;
  watermark_impl object;
  configure(object, c);
  unsigned char alpha[16];
  for (unsigned char& a : alpha) a = 102;
  object.fade_alpha(alpha);
  for (int i = 0; i < 15; ++i) EXPECT_EQ(alpha[i], 51);
  EXPECT_EQ(alpha[15], 102);
}

}  // namespace
