#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

#include "tests/video/resize/resizer_under_test.h"
#include "video/resize/colorspace.h"

namespace ns_video_resize {
namespace {

using bytes = std::vector<unsigned char>;

template <typename T>
std::vector<T> noise(std::size_t count, unsigned int seed = 1) {
  std::mt19937 random(seed);
  std::vector<T> samples(count);
  for (T& sample : samples) sample = static_cast<T>(random());
  return samples;
}

template <typename T>
std::vector<T> slice(const std::vector<T>& from, std::size_t start, std::size_t count) {
  return std::vector<T>(from.begin() + static_cast<std::ptrdiff_t>(start),
                        from.begin() + static_cast<std::ptrdiff_t>(start + count));
}

// 16 x the 3x3 mask, rounded to nearest with ties to even; the border does not change.
bytes smoothed_3x3(const bytes& plane, int width, int height) {
  bytes result = plane;
  for (int y = 1; y + 1 < height; ++y) {
    for (int x = 1; x + 1 < width; ++x) {
      int sum = 0;
      for (int dy = -1; dy <= 1; ++dy) {
        for (int dx = -1; dx <= 1; ++dx) {
          sum += (2 - std::abs(dx)) * (2 - std::abs(dy)) * plane[(y + dy) * width + x + dx];
        }
      }
      const int floor = sum / 16;
      const int rest = sum % 16;
      result[y * width + x] =
          static_cast<unsigned char>(rest > 8 || (rest == 8 && floor % 2 != 0) ? floor + 1 : floor);
    }
  }
  return result;
}

bytes smoothed_5x5(const bytes& plane, int width, int height) {
  constexpr int mask[3][3] = {{127, 52, 12}, {52, 31, 7}, {12, 7, 2}};
  bytes result = plane;
  for (int y = 2; y + 2 < height; ++y) {
    for (int x = 2; x + 2 < width; ++x) {
      int sum = 0;
      for (int dy = -2; dy <= 2; ++dy) {
        for (int dx = -2; dx <= 2; ++dx) {
          sum += mask[std::abs(dy)][std::abs(dx)] * plane[(y + dy) * width + x + dx];
        }
      }
      result[y * width + x] = static_cast<unsigned char>((2 * sum + 571) / 1142);
    }
  }
  return result;
}

template <typename T>
void expect_equal_sizes_copy(int space) {
  resizer_under_test<T> r(scale_request(space, 18, 10, 18, 10));
  ASSERT_EQ(r.result, 1);
  const auto layout = static_cast<qor_resize::colorspace>(space);
  std::vector<T> frame = noise<T>(frame_samples(layout, 18, 10));
  std::vector<T> out(frame.size());
  unsigned int out_size = 0;
  const auto size = static_cast<unsigned int>(frame.size() * sizeof(T));
  EXPECT_EQ(r->process(size, reinterpret_cast<unsigned char*>(frame.data()), out_size,
                       reinterpret_cast<unsigned char*>(out.data())),
            1);
  EXPECT_EQ(out_size, r->out_frame_size * sizeof(T));
  EXPECT_EQ(out_size, size);
  EXPECT_EQ(out, frame);
  EXPECT_EQ(r->frames_in, 1u);
  EXPECT_EQ(r->bytes_in, size);
}

TEST(Process, EqualSizesOnlyCopy) {
  for (int space = 1; space <= 6; ++space) expect_equal_sizes_copy<unsigned char>(space);
  for (int space = 7; space <= 8; ++space) expect_equal_sizes_copy<unsigned short>(space);
}

TEST(Process, EqualSizesDoNotSmooth) {
  resize_request request = scale_request(4, 18, 10, 18, 10);
  request.smoothing = 2;
  bytes frame = noise<unsigned char>(540);
  EXPECT_EQ(resizer_8(request).process(frame), frame);
}

TEST(Process, NullInputAndNullOutput) {
  struct row {
    int resize_mode, out_width;
    bool sets_size;
  };
  for (const row& w : {row{0, 20, true}, row{0, 18, false}, row{1, 20, false}, row{2, 20, false},
                       row{2, 18, false}}) {
    resize_request request = scale_request(3, 18, 10, w.out_width, 10);
    request.resize_mode = w.resize_mode;
    resizer_8 r(request);
    ASSERT_EQ(r.result, 1);
    bytes frame(360, 1);
    bytes out(400, 9);
    unsigned int out_size = 4711;
    EXPECT_EQ(r->process(360, nullptr, out_size, out.data()), 1);
    EXPECT_EQ(out_size, w.sets_size ? r->out_frame_size : 4711u);
    out_size = 4711;
    EXPECT_EQ(r->process(360, frame.data(), out_size, nullptr), 1);
    EXPECT_EQ(out_size, w.sets_size ? r->out_frame_size : 4711u);
    EXPECT_EQ(r->frames_in, 0u);
    EXPECT_EQ(r->bytes_in, 0u);
    EXPECT_EQ(out, bytes(400, 9));
  }
}

TEST(Process, WithoutAPlanNothingIsWritten) {
  for (const int interpolation : {2, 5}) {
    resizer_8 r(scale_request(interpolation == 5 ? 3 : 9, 16, 8, 24, 12, interpolation));
    ASSERT_NE(r.result, 1);
    bytes frame(256, 1);
    bytes out(2000, 9);
    unsigned int out_size = 4711;
    EXPECT_EQ(r->process(256, frame.data(), out_size, out.data()), 1);
    EXPECT_EQ(out_size, 0u);
    EXPECT_EQ(out, bytes(2000, 9));
    out_size = 4711;
    EXPECT_EQ(r->process(256, nullptr, out_size, out.data()), 1);
    EXPECT_EQ(out_size, 4711u);
  }
  video_resize_impl<unsigned char> fresh;
  unsigned char sample = 9;
  unsigned int out_size = 4711;
  EXPECT_EQ(fresh.process(1, &sample, out_size, &sample), 1);
  EXPECT_EQ(out_size, 0u);
  EXPECT_EQ(sample, 9);
}

TEST(Process, CountsBytesAndFrames) {
  for (const int mode : {0, 1, 2}) {
    resize_request request = scale_request(3, 18, 10, 20, 12);
    request.resize_mode = mode;
    resizer_8 r(request);
    for (int i = 0; i < 3; ++i) r.process(bytes(360, 1));
    EXPECT_EQ(r->frames_in, 3u);
    EXPECT_EQ(r->bytes_in, 3u * 360u);
  }
}

TEST(Process, ShortInputCountsAsNeutral) {
  for (const int mode : {0, 1, 2}) {
    for (const int crop : {0, 2}) {
      for (int space = 1; space <= 6; ++space) {
        const auto layout = static_cast<qor_resize::colorspace>(space);
        const std::size_t whole = frame_samples(layout, 16, 8);
        resize_request request = scale_request(space, 16, 8, 12, 10, 1);
        request.resize_mode = mode;
        request.crop_left = crop;
        const bytes frame = noise<unsigned char>(whole);
        for (const std::size_t given : {std::size_t{0}, std::size_t{5}, std::size_t{130}}) {
          bytes completed(whole);
          fill_neutral(completed.data(), layout, 16, 8);
          std::copy_n(frame.begin(), given, completed.begin());
          resizer_8 r(request);
          r.process(noise<unsigned char>(whole, 7));  // no trace of it may remain
          EXPECT_EQ(r.process(slice(frame, 0, given)), resizer_8(request).process(completed));
        }
      }
    }
  }
}

TEST(Process, OddBytesAndLongInputOf16Bits) {
  for (const int mode : {0, 1, 2}) {
    for (int space = 7; space <= 8; ++space) {
      resize_request request = scale_request(space, 16, 8, 12, 10, 1);
      request.resize_mode = mode;
      const auto layout = static_cast<qor_resize::colorspace>(space);
      const std::size_t whole = frame_samples(layout, 16, 8);
      std::vector<unsigned short> frame = noise<unsigned short>(whole + 9);
      resizer_16 r(request);
      const std::vector<unsigned short> expected = r.process(slice(frame, 0, whole));
      EXPECT_EQ(r.process(frame), expected) << "a longer frame";

      // 31 bytes: fifteen samples and a half; the half sample counts as missing.
      std::vector<unsigned short> completed(whole);
      fill_neutral(completed.data(), layout, 16, 8);
      std::copy_n(frame.begin(), 15, completed.begin());
      std::vector<unsigned short> out(expected.size(), 0x5A);
      unsigned int out_size = 0;
      r->process(31, reinterpret_cast<unsigned char*>(frame.data()), out_size,
                 reinterpret_cast<unsigned char*>(out.data()));
      EXPECT_EQ(out, r.process(completed)) << "half a sample";
    }
  }
}

TEST(FrameScaling, SmoothsLumaWithTheMaskInForceAndChromaWithTheSmallOne) {
  for (const int smoothing : {1, 2}) {
    // The identity in x, so that in effect only rows are selected: one of five or of two.
    const int out_height = smoothing == 2 ? 8 : 20;
    resize_request smooth = scale_request(5, 12, 40, 12, out_height, 4);
    smooth.smoothing = 1;
    resizer_8 r(smooth);
    ASSERT_EQ(r->smoothing, static_cast<unsigned int>(smoothing));
    const bytes frame = noise<unsigned char>(12 * 40 * 3);
    bytes prepared = slice(frame, 0, 480);  // alpha unchanged
    const bytes luma = slice(frame, 480, 480);
    const bytes luma_smoothed =
        smoothing == 2 ? smoothed_5x5(luma, 12, 40) : smoothed_3x3(luma, 12, 40);
    prepared.insert(prepared.end(), luma_smoothed.begin(), luma_smoothed.end());
    for (const std::size_t start : {960u, 1200u}) {
      const bytes chroma = smoothed_3x3(slice(frame, start, 240), 6, 40);
      prepared.insert(prepared.end(), chroma.begin(), chroma.end());
    }
    EXPECT_EQ(r.process(frame),
              resizer_8(scale_request(5, 12, 40, 12, out_height, 4)).process(prepared));
  }
}

TEST(FrameScaling, SmoothingOfPlanesSmallerThanTheMask) {
  video_resize_impl<unsigned char> object;
  for (unsigned int width = 0; width <= 5; ++width) {
    for (unsigned int height = 0; height <= 5; ++height) {
      const bytes plane = noise<unsigned char>(width * height + 1);
      bytes three = plane;
      object.smooth_3x3(three.data(), width, height);
      EXPECT_EQ(three,
                [&] {
                  bytes expected =
                      smoothed_3x3(plane, static_cast<int>(width), static_cast<int>(height));
                  return expected;
                }())
          << width << " x " << height;
      bytes five = plane;
      object.smooth_5x5(five.data(), width, height);
      EXPECT_EQ(five, smoothed_5x5(plane, static_cast<int>(width), static_cast<int>(height)));
    }
  }
  // Four columns and the large mask: luma is not smoothed, chroma is smoothed with the small mask.
  resize_request request = scale_request(4, 4, 40, 4, 8, 4);
  request.smoothing = 1;
  const bytes frame = noise<unsigned char>(480);
  resizer_8 r(request);
  ASSERT_EQ(r->smoothing, 2u);
  bytes prepared = slice(frame, 0, 160);
  for (const std::size_t start : {160u, 320u}) {
    const bytes chroma = smoothed_3x3(slice(frame, start, 160), 4, 40);
    prepared.insert(prepared.end(), chroma.begin(), chroma.end());
  }
  EXPECT_EQ(r.process(frame), resizer_8(scale_request(4, 4, 40, 4, 8, 4)).process(prepared));
}

resize_request field_request(int space, int in_width, int in_height, int out_width, int out_height,
                             int interpolation = 2) {
  resize_request request =
      scale_request(space, in_width, in_height, out_width, out_height, interpolation);
  request.resize_mode = 2;
  return request;
}

// The rows of one field of a plane.
template <typename T>
std::vector<T> field_of(const std::vector<T>& plane, std::size_t width, std::size_t parity) {
  std::vector<T> rows;
  for (std::size_t start = parity * width; start < plane.size(); start += 2 * width) {
    rows.insert(rows.end(), plane.begin() + static_cast<std::ptrdiff_t>(start),
                plane.begin() + static_cast<std::ptrdiff_t>(start + width));
  }
  return rows;
}

// Every plane of full height must equal its two fields scaled separately, each as the luma plane of
// a 4:4:4 picture of half the height.
template <typename T>
void expect_fields_scaled_apart(int space, int out_width, int out_height, bool smooth) {
  const auto layout = static_cast<qor_resize::colorspace>(space);
  const int in_width = 24;
  const int in_height = 20;
  resize_request request = field_request(space, in_width, in_height, out_width, out_height);
  request.smoothing = smooth ? 1 : 0;
  resizer_under_test<T> r(request);
  ASSERT_EQ(r.result, 1);
  const std::vector<T> frame = noise<T>(frame_samples(layout, in_width, in_height));
  const std::vector<T> result = r.process(frame, T{0x5A});

  std::size_t in = 0;
  std::size_t out = 0;
  for (unsigned int p = 0; p < r->plane_count; ++p) {
    const std::size_t width = r->in_planes[p]->width;
    const std::size_t in_size = width * r->in_planes[p]->height;
    const std::size_t out_row = r->out_planes[p]->width;
    const std::size_t out_size = out_row * r->out_planes[p]->height;
    // Chroma of half width uses the positions of luma: other tests cover it.
    if (r->in_planes[p]->height == static_cast<unsigned int>(in_height) &&
        width == static_cast<std::size_t>(in_width)) {
      resize_request apart =
          scale_request(sizeof(T) == 1 ? 4 : 8, in_width, in_height / 2, out_width, out_height / 2);
      for (std::size_t parity = 0; parity < 2; ++parity) {
        resizer_under_test<T> field(apart);
        ASSERT_EQ(field.result, 1);
        // The mask of the plan for the complete frame.
        field->smoothing = r->smoothing;
        std::vector<T> rows = field_of(slice(frame, in, in_size), width, parity);
        rows.resize(rows.size() * 3);
        const std::vector<T> expected =
            slice(field.process(rows), 0, out_row * static_cast<std::size_t>(out_height / 2));
        const std::vector<T> written =
            slice(result, out, out_row * static_cast<std::size_t>(out_height / 2 * 2));
        EXPECT_EQ(field_of(written, out_row, parity), expected) << space << " plane " << p;
      }
      for (std::size_t i = out_row * static_cast<std::size_t>(out_height / 2 * 2); i < out_size;
           ++i) {
        ASSERT_EQ(result[out + i], T{0x5A}) << "last row of " << space;
      }
    }
    in += in_size;
    out += out_size;
  }
}

TEST(FieldScaling, FieldsAreScaledApartInAllLayouts) {
  for (const bool smooth : {false, true}) {
    for (const int out_height : {40, 26, 12, 4, 21, 9}) {
      for (const int out_width : {24, 30, 10}) {
        for (int space = 1; space <= 6; ++space) {
          expect_fields_scaled_apart<unsigned char>(space, out_width, out_height, smooth);
        }
        for (int space = 7; space <= 8; ++space) {
          expect_fields_scaled_apart<unsigned short>(space, out_width, out_height, smooth);
        }
      }
    }
  }
}

TEST(FieldScaling, HalfHeightChromaIsScaledWholeAndNeverSmoothed) {
  // 4:2:0: a chroma plane equals the luma of a picture of its size, with the tables of the fields;
  // the single-sample method shows which tables are used.
  resize_request request = field_request(1, 24, 20, 24, 10, 4);
  request.smoothing = 2;
  resizer_8 r(request);
  ASSERT_EQ(r.result, 1);
  ASSERT_NE(r->smoothing, 0u);
  const bytes frame = noise<unsigned char>(720);
  const bytes result = r.process(frame);
  for (std::size_t row = 0; row < 5; ++row) {
    for (std::size_t x = 0; x < 12; ++x) {
      const std::size_t from_row = r->y_index_vecs[1][row];
      const std::size_t from_x = r->x_index_vecs[1][x];
      ASSERT_EQ(result[240 + row * 12 + x], frame[480 + from_row * 12 + from_x]);
    }
  }
}

TEST(FieldScaling, OneMaskForEveryFullHeightPlane) {
  // ayuv422, 5x5 on alpha, luma and chroma, field by field.
  resize_request request = field_request(5, 12, 80, 12, 16, 4);
  request.smoothing = 1;
  resizer_8 smooth(request);
  ASSERT_EQ(smooth->smoothing, 2u);
  request.smoothing = 0;
  resizer_8 plain(request);
  const bytes frame = noise<unsigned char>(12 * 80 * 3);
  bytes prepared;
  std::size_t start = 0;
  for (const std::size_t width : {12u, 12u, 6u, 6u}) {
    const bytes plane = slice(frame, start, width * 80);
    start += width * 80;
    const bytes fields[2] = {smoothed_5x5(field_of(plane, width, 0), static_cast<int>(width), 40),
                             smoothed_5x5(field_of(plane, width, 1), static_cast<int>(width), 40)};
    for (std::size_t row = 0; row < 80; ++row) {
      const bytes line = slice(fields[row % 2], row / 2 * width, width);
      prepared.insert(prepared.end(), line.begin(), line.end());
    }
  }
  EXPECT_EQ(smooth.process(frame), plain.process(prepared));
}

TEST(FieldScaling, TakesPlansForFieldsOnly) {
  resizer_8 r(scale_request(4, 16, 16, 8, 64, 4));
  ASSERT_EQ(r.result, 1);
  bytes frame(768, 1);
  bytes out(1536, 9);
  unsigned int out_size = 0;
  EXPECT_EQ(r->process_field_scale(768, frame.data(), out_size, out.data()), 1);
  EXPECT_EQ(out, bytes(1536, 9));
}

TEST(FieldScaling, ASingleOutputRowIsNotWritten) {
  resizer_8 r(field_request(4, 16, 8, 20, 1));
  ASSERT_EQ(r.result, 1);
  EXPECT_EQ(r.process(noise<unsigned char>(384), 0x5A), bytes(60, 0x5A));
}

TEST(CropStage, KeepsTheBufferWhereThereIsNothingToCutBy) {
  // An undefined fit_mode: no source, every plane neutral, in frames and in fields.
  for (const int mode : {0, 2}) {
    for (int space = 1; space <= 6; ++space) {
      resize_request request = scale_request(space, 16, 8, 12, 11);
      request.resize_mode = mode;
      request.fit_mode = 3;
      resizer_8 r(request);
      ASSERT_EQ(r.result, 1);
      const auto layout = static_cast<qor_resize::colorspace>(space);
      bytes neutral(frame_samples(layout, 12, 11), 0x5A);
      const std::size_t chroma_start = (has_alpha(layout) ? 2 : 1) * 132;
      const std::size_t chroma =
          std::size_t{2} * (12 >> chroma_shift_x(layout)) * (11 >> chroma_shift_y(layout));
      std::fill_n(neutral.begin(), chroma_start, static_cast<unsigned char>(0));
      std::fill_n(neutral.begin() + static_cast<std::ptrdiff_t>(chroma_start), chroma,
                  static_cast<unsigned char>(128));
      EXPECT_EQ(r.process(noise<unsigned char>(frame_samples(layout, 16, 8))), neutral) << space;
    }
  }
  resize_request wide = scale_request(7, 16, 8, 4, 2);
  wide.fit_mode = 3;
  const std::vector<unsigned short> result = resizer_16(wide).process(noise<unsigned short>(256));
  for (int i = 0; i < 8; ++i) EXPECT_EQ(result[i], 0);
  for (int i = 8; i < 16; ++i) EXPECT_EQ(result[i], 32768);
}

TEST(CropStage, CutsBeforeScaling) {
  for (int space = 1; space <= 6; ++space) {
    const auto layout = static_cast<qor_resize::colorspace>(space);
    resize_request request = scale_request(space, 32, 20, 40, 30);
    request.crop_left = 4;
    request.crop_right = 6;
    request.crop_top = 2;
    request.crop_bottom = 8;
    resizer_8 r(request);
    ASSERT_EQ(r.result, 1);
    ASSERT_EQ(r->in_width, 22u);
    ASSERT_EQ(r->in_height, 10u);
    bytes frame = noise<unsigned char>(frame_samples(layout, 32, 20));
    bytes cut(frame_samples(layout, 22, 10));
    if (has_alpha(layout)) {
      r->cropper.process_a_yp_cb_cr_plan(frame.data(), cut.data());
    } else {
      r->cropper.process_yp_cb_cr_plan(frame.data(), cut.data());
    }
    EXPECT_EQ(r.process(frame), resizer_8(scale_request(space, 22, 10, 40, 30)).process(cut));
  }
}

TEST(Process, MisalignedSixteenBitFrames) {
  resizer_16 r(scale_request(7, 16, 8, 20, 10));
  const std::vector<unsigned short> frame = noise<unsigned short>(256);
  const std::vector<unsigned short> expected = r.process(frame);
  bytes in(513);
  bytes out(801);
  std::memcpy(in.data() + 1, frame.data(), 512);
  unsigned int out_size = 0;
  r->process(512, in.data() + 1, out_size, out.data() + 1);
  EXPECT_EQ(out_size, 800u);
  EXPECT_EQ(std::memcmp(out.data() + 1, expected.data(), 800), 0);
}

}  // namespace
}  // namespace ns_video_resize
