#include <gtest/gtest.h>

#include <memory>

#include "signal/processor_variant.h"
#include "tests/support/virtual_slot.h"
#include "tests/video/resize/resizer_under_test.h"
#include "video/resize/colorspace.h"

namespace ns_video_resize {
namespace {

struct destroyer {
  void operator()(qor_resize* object) const { qor_resize::destroy(object); }
};
using owned_resizer = std::unique_ptr<qor_resize, destroyer>;

owned_resizer create(unsigned int space) {
  return owned_resizer(qor_resize::create(static_cast<qor_resize::colorspace>(space)));
}

int init(qor_resize& object, unsigned int space) {
  return object.init(32, 16, 16, 8, static_cast<qor_resize::colorspace>(space), 0, 0, 0, 0, 0, 0, 0,
                     0, 0, -0.5f, 2, 0, 0);
}

TEST(Factory, ChoosesTheSampleWidthByTheLayout) {
  for (unsigned int space = 0; space <= 12; ++space) {
    const owned_resizer object = create(space);
    const bool wide = space == 7 || space == 8;
    EXPECT_EQ(dynamic_cast<video_resize_impl<unsigned short>*>(object.get()) != nullptr, wide);
    EXPECT_EQ(dynamic_cast<video_resize_impl<unsigned char>*>(object.get()) != nullptr, !wide);
  }
}

TEST(Factory, ValuesThatAreNoLayoutAreRejectedByInitOnly) {
  for (const unsigned int space : {0u, 9u, 100u, 0xFFFFFFFFu}) {
    const owned_resizer object = create(space);
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(init(*object, space), -1);
    EXPECT_EQ(object->get_output_size(), 0);
  }
}

TEST(Factory, OutputOf16BitsIsTwiceAsLarge) {
  const owned_resizer narrow = create(3);
  const owned_resizer wide = create(7);
  EXPECT_EQ(narrow->get_output_size(), 0);
  EXPECT_EQ(wide->get_output_size(), 0);
  ASSERT_EQ(init(*narrow, 3), 1);
  ASSERT_EQ(init(*wide, 7), 1);
  EXPECT_EQ(narrow->get_output_size(), 32 * 16 * 2);
  EXPECT_EQ(wide->get_output_size(), 32 * 16 * 4);
}

TEST(Factory, EveryCreationSelectsTheProcessorVariant) {
  ippStaticInit();
  const int index = ippJumpIndexForMergedLibs;
  int threads = 0;
  ippGetNumThreads(&threads);
  for (const unsigned int space : {1u, 7u}) {
    ippJumpIndexForMergedLibs = index == 0 ? 1 : 0;
    ippSetNumThreads(threads + 5);
    create(space);
    EXPECT_EQ(ippJumpIndexForMergedLibs, index);
    int now = 0;
    ippGetNumThreads(&now);
    EXPECT_EQ(now, threads);
  }
}

TEST(Factory, OrderOfTheInterface) {
  EXPECT_EQ(test_support::virtual_slot(&qor_resize::init), 0u);
  EXPECT_EQ(test_support::virtual_slot(&qor_resize::get_output_size), 1u);
  EXPECT_EQ(test_support::virtual_slot(&qor_resize::process), 2u);
}

TEST(Factory, DestroyOfNullDoesNothing) { qor_resize::destroy(nullptr); }

template <typename T>
void expect_initial_state() {
  const video_resize_impl<T> fresh;
  EXPECT_EQ(fresh.space, 1u);
  EXPECT_EQ(fresh.work_space, 1u);
  EXPECT_EQ(fresh.kernel_param, -0.5f);
  EXPECT_TRUE(fresh.x_pass == nullptr);
  EXPECT_TRUE(fresh.y_pass == nullptr);
  EXPECT_EQ(fresh.plane_count, 0u);
  EXPECT_EQ(fresh.in_width | fresh.in_height | fresh.mid_width | fresh.mid_height, 0u);
  EXPECT_EQ(fresh.out_width | fresh.out_height | fresh.out_frame_size | fresh.in_frame_size, 0u);
  EXPECT_EQ(fresh.taps | fresh.interpolation | fresh.smoothing | fresh.smoothing_strength, 0u);
  EXPECT_EQ(fresh.crop_buffer, nullptr);
  EXPECT_EQ(fresh.x_index_vecs, nullptr);
  EXPECT_EQ(fresh.line_buffers, nullptr);
  EXPECT_FALSE(fresh.cropper.ready || fresh.cropper.crop_valid || fresh.cropper.ratio_set);
  EXPECT_EQ(fresh.cropper.aspect_x, 0.0f);
  for (int value = -1024; value <= 1279; ++value) {
    const int clamped = value < 0 ? 0 : value > 255 ? 255 : value;
    ASSERT_EQ(fresh.clip_table[1024 + value], clamped) << value;
  }
}

TEST(Factory, ANewObjectIsInItsInitialState) {
  expect_initial_state<unsigned char>();
  expect_initial_state<unsigned short>();
}

TEST(Layouts, FactsOfTheEightLayouts) {
  struct facts {
    unsigned int space, shift_x, shift_y, samples_of_10_by_6;
    bool alpha;
  };
  for (const facts& f :
       {facts{1, 1, 1, 90, false}, facts{2, 1, 1, 150, true}, facts{3, 1, 0, 120, false},
        facts{4, 0, 0, 180, false}, facts{5, 1, 0, 180, true}, facts{6, 0, 0, 240, true},
        facts{7, 1, 0, 120, false}, facts{8, 0, 0, 180, false}}) {
    const auto space = static_cast<qor_resize::colorspace>(f.space);
    EXPECT_EQ(chroma_shift_x(space), f.shift_x) << f.space;
    EXPECT_EQ(chroma_shift_y(space), f.shift_y) << f.space;
    EXPECT_EQ(has_alpha(space), f.alpha) << f.space;
    EXPECT_EQ(frame_samples(space, 10, 6), f.samples_of_10_by_6) << f.space;
  }
  for (const unsigned int value : {0u, 9u, 34u, 0xFFFFFFFFu}) {
    const auto space = static_cast<qor_resize::colorspace>(value);
    EXPECT_FALSE(is_layout(space));
    EXPECT_FALSE(has_alpha(space));
    EXPECT_EQ(chroma_shift_x(space), 1u);
    EXPECT_EQ(chroma_shift_y(space), 1u);
  }
  EXPECT_EQ(frame_samples(qor_resize::yuv420, 5, 3), 22u);
  EXPECT_EQ(frame_samples(qor_resize::ayuv420, 5, 3), 37u);
}

TEST(Planes, HaveFourSpareRowsAndKnownValues) {
  image_plane<unsigned char>* const narrow = make_plane<unsigned char>(5, 3, 1);
  for (int i = 0; i < 5 * 7; ++i) ASSERT_EQ(narrow->data[i], 128) << i;
  for (int row = 0; row < 3; ++row) EXPECT_EQ(narrow->rows[row], narrow->data + 5 * row);
  EXPECT_TRUE(narrow->owns_data);
  unsigned char outside[15] = {};
  point_plane_at(*narrow, outside);
  EXPECT_FALSE(narrow->owns_data);
  EXPECT_EQ(narrow->rows[2], outside + 10);
  release_plane(narrow);

  image_plane<unsigned short>* const wide = make_plane<unsigned short>(4, 2, 2);
  for (int i = 0; i < 4 * 6; ++i) ASSERT_EQ(wide->data[i], 0) << i;
  EXPECT_EQ(wide->kind, 2u);
  release_plane(wide);
  release_plane<unsigned char>(nullptr);
}

}  // namespace
}  // namespace ns_video_resize
