// The cropper between protected pages, for all layouts, small sizes, crops and borders: nothing
// outside its frames is accessed, the source does not change, and the result depends neither on the
// position of the pages nor on the previous contents of the buffers.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "tests/support/guarded_buffer.h"
#include "video/resize/colorspace.h"
#include "video/resize/crop.h"

namespace ns_video_resize {
namespace {

using test_support::fill_pattern;
using test_support::guarded_buffer;
using test_support::protected_edge;
using bytes = std::vector<unsigned char>;

struct request {
  int space, width, height;
  unsigned int left, right, top, bottom;  // cropped
  unsigned int pad_left, pad_right, pad_top, pad_bottom;
  unsigned int fit_mode, target_width, target_height;
};

std::ostream& operator<<(std::ostream& out, const request& r) {
  return out << "layout " << r.space << ", " << r.width << " x " << r.height << ", crop " << r.left
             << ' ' << r.right << ' ' << r.top << ' ' << r.bottom << ", pad " << r.pad_left << ' '
             << r.pad_right << ' ' << r.pad_top << ' ' << r.pad_bottom << ", fit " << r.fit_mode
             << " to " << r.target_width << " x " << r.target_height;
}

// Samples of all planes, which in odd frames is less than `frame_samples`.
std::size_t plane_samples(qor_resize::colorspace space, std::size_t width, std::size_t height) {
  return width * height * (has_alpha(space) ? 2 : 1) +
         2 * (width >> chroma_shift_x(space)) * (height >> chroma_shift_y(space));
}

template <typename T>
class cropper {
 public:
  explicit cropper(const request& r) {
    space_ = static_cast<qor_resize::colorspace>(r.space);
    if (crop_.init(space_, false, r.width, r.height, 0, 0) != 1) return;
    crop_.user_left = r.left;
    crop_.user_right = r.right;
    crop_.user_top = r.top;
    crop_.user_bottom = r.bottom;
    crop_.pad_left = r.pad_left;
    crop_.pad_right = r.pad_right;
    crop_.pad_top = r.pad_top;
    crop_.pad_bottom = r.pad_bottom;
    crop_.crop_valid = true;
    int width = 0;
    int height = 0;
    fits_ = crop_.set_out_ratio(r.target_width, r.target_height, r.fit_mode, &width, &height) == 1;
    in_bytes_ = plane_samples(space_, crop_.in_width, crop_.in_height) * sizeof(T);
    out_bytes_ = plane_samples(space_, crop_.out_width, crop_.out_height) * sizeof(T);
  }

  bool fits() const { return fits_; }

  bytes frame() const {
    bytes made(in_bytes_);
    for (std::size_t i = 0; i < made.size(); ++i) made[i] = static_cast<unsigned char>(i * 89 + 3);
    return made;
  }

  bytes into(const bytes& frame, protected_edge edge, fill_pattern pattern) {
    guarded_buffer src(in_bytes_, edge, pattern);
    guarded_buffer dst(out_bytes_, edge, pattern);
    std::copy(frame.begin(), frame.end(), src.data());
    cut(src.data(), dst.data());
    EXPECT_EQ(src.damage(), "");
    EXPECT_EQ(dst.damage(), "");
    EXPECT_TRUE(std::equal(frame.begin(), frame.end(), src.data())) << "source changed";
    return bytes(dst.data(), dst.data() + dst.size());
  }

  bytes in_place(const bytes& frame, protected_edge edge, fill_pattern pattern) {
    guarded_buffer both(std::max(in_bytes_, out_bytes_), edge, pattern);
    std::copy(frame.begin(), frame.end(), both.data());
    cut(both.data(), nullptr);
    EXPECT_EQ(both.damage(), "");
    return bytes(both.data(), both.data() + out_bytes_);
  }

  bool is_empty() const { return out_bytes_ == 0; }

 private:
  void cut(unsigned char* src, unsigned char* dst) {
    T* const from = reinterpret_cast<T*>(src);
    T* const to = reinterpret_cast<T*>(dst);
    if (has_alpha(space_)) {
      crop_.process_a_yp_cb_cr_plan(from, to);
    } else {
      crop_.process_yp_cb_cr_plan(from, to);
    }
  }

  crop<T> crop_;
  qor_resize::colorspace space_ = qor_resize::yuv420;
  bool fits_ = false;
  std::size_t in_bytes_ = 0;
  std::size_t out_bytes_ = 0;
};

// Returns whether there was anything to compare.
template <typename T>
bool expect_guarded(const request& r) {
  cropper<T> c(r);
  if (!c.fits() || c.is_empty()) return false;
  const bytes frame = c.frame();
  const bytes at_end = c.into(frame, protected_edge::end, fill_pattern::checker);
  EXPECT_EQ(at_end, c.into(frame, protected_edge::begin, fill_pattern::inverse_checker)) << r;
  EXPECT_EQ(at_end, c.in_place(frame, protected_edge::end, fill_pattern::inverse_checker)) << r;
  EXPECT_EQ(at_end, c.in_place(frame, protected_edge::begin, fill_pattern::checker)) << r;
  return true;
}

bool expect_guarded_at_its_depth(const request& r) {
  return r.space >= 7 ? expect_guarded<unsigned short>(r) : expect_guarded<unsigned char>(r);
}

TEST(CropGuards, SmallFramesWithEveryAmountOfOneSide) {
  int compared = 0;
  for (int space = 1; space <= 8; ++space) {
    for (int width = 1; width <= 6; ++width) {
      for (int height = 1; height <= 6; ++height) {
        for (const unsigned int amount : {1U, 2U, 3U}) {
          request r = {space, width, height, 0, 0, 0, 0, 0, 0, 0, 0, 0, 8, 8};
          for (unsigned int request::*side :
               {&request::left, &request::right, &request::top, &request::bottom,
                &request::pad_left, &request::pad_right, &request::pad_top, &request::pad_bottom}) {
            for (r.fit_mode = 0; r.fit_mode <= 2; ++r.fit_mode) {
              r.*side = amount;
              if (expect_guarded_at_its_depth(r)) ++compared;
            }
            r.*side = 0;
          }
        }
        if (HasFailure()) return;
      }
    }
  }
  EXPECT_GT(compared, 5000);
}

TEST(CropGuards, AmountsOnAllSidesAndOtherShapes) {
  int compared = 0;
  for (int space = 1; space <= 8; ++space) {
    for (unsigned int seed = 0; seed < 400; ++seed) {
      const auto digit = [seed](unsigned int factor, unsigned int limit) {
        return (seed * factor + seed / 7) % limit;
      };
      const request r = {space,
                         static_cast<int>(2 + 2 * digit(5, 13)),
                         static_cast<int>(2 + 2 * digit(11, 11)),
                         digit(3, 5),
                         digit(7, 5),
                         digit(13, 5),
                         digit(17, 5),
                         digit(19, 7),
                         digit(23, 7),
                         digit(29, 7),
                         digit(31, 7),
                         digit(1, 3),
                         1 + digit(37, 40),
                         1 + digit(41, 40)};
      if (expect_guarded_at_its_depth(r)) ++compared;
    }
    if (HasFailure()) return;
  }
  EXPECT_GT(compared, 2000);
}

}  // namespace
}  // namespace ns_video_resize
