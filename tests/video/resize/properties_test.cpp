// Properties of the resizer that hold for any numbers: identities, symmetries and independences.
// They need no reference implementation.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "video/resize/qor_resize.h"

namespace {

using ns_video_resize::qor_resize;
using bytes = std::vector<unsigned char>;

struct plan {
  int space = qor_resize::yuv444;
  int out_width = 0;
  int out_height = 0;
  int in_width = 0;
  int in_height = 0;
  int method = 2;
  int mode = 0;
  int smoothing = 0;
  float kernel_param = -0.5F;
  int left = 0;
  int right = 0;
  int top = 0;
  int bottom = 0;
};

constexpr int every_layout[] = {1, 2, 3, 4, 5, 6, 7, 8};

bool has_alpha(int space) { return space == 2 || space == 5 || space == 6; }
int shift_x(int space) { return space == 4 || space == 6 || space == 8 ? 0 : 1; }
int shift_y(int space) { return space == 1 || space == 2 ? 1 : 0; }
int sample_bytes(int space) { return space >= 7 ? 2 : 1; }

struct picture_plane {
  int width = 0;
  int height = 0;
  bool chroma = false;
  std::vector<int> samples = {};

  int& at(int x, int y) { return samples.at(index(x, y)); }
  int at(int x, int y) const { return samples.at(index(x, y)); }

  std::size_t index(int x, int y) const {
    return static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
           static_cast<std::size_t>(x);
  }
};

// A frame separated into planes, sample by sample.
class picture {
 public:
  picture(int space, int width, int height) : space_(space) {
    for (int p = has_alpha(space) ? 0 : 1; p < 4; ++p) {
      const bool chroma = p > 1;
      const int w = chroma ? width >> shift_x(space) : width;
      const int h = chroma ? height >> shift_y(space) : height;
      planes.push_back({w, h, chroma, std::vector<int>(static_cast<std::size_t>(w * h))});
    }
  }

  void read(const bytes& frame) {
    const unsigned char* from = frame.data();
    for (picture_plane& p : planes) {
      for (int& sample : p.samples) {
        sample = *from++;
        if (sample_bytes(space_) == 2) sample |= *from++ << 8;
      }
    }
  }

  bytes frame() const {
    bytes result;
    for (const picture_plane& p : planes) {
      for (const int sample : p.samples) {
        result.push_back(static_cast<unsigned char>(sample & 255));
        if (sample_bytes(space_) == 2) result.push_back(static_cast<unsigned char>(sample >> 8));
      }
    }
    return result;
  }

  int space() const { return space_; }
  int largest_sample() const { return sample_bytes(space_) == 2 ? 65535 : 255; }

  std::vector<picture_plane> planes;

 private:
  int space_;
};

bool operator==(const picture_plane& a, const picture_plane& b) {
  return a.width == b.width && a.height == b.height && a.samples == b.samples;
}

picture noise(int space, int width, int height, unsigned seed = 1) {
  std::mt19937 engine(seed);
  picture result(space, width, height);
  for (picture_plane& p : result.planes) {
    for (int& sample : p.samples) {
      sample = static_cast<int>(engine() & static_cast<unsigned>(result.largest_sample()));
    }
  }
  return result;
}

class resizer {
 public:
  explicit resizer(const plan& p)
      : plan_(p), engine_(qor_resize::create(static_cast<qor_resize::colorspace>(p.space))) {
    EXPECT_EQ(1, engine_->init(p.out_width, p.out_height, p.in_width, p.in_height,
                               static_cast<qor_resize::colorspace>(p.space), p.left, p.right, p.top,
                               p.bottom, 0, 0.0F, 0.0F, p.mode, 0, p.kernel_param, p.method,
                               p.smoothing, 0));
  }
  ~resizer() { qor_resize::destroy(engine_); }
  resizer(const resizer&) = delete;
  resizer& operator=(const resizer&) = delete;

  picture operator()(const picture& in) {
    bytes from = in.frame();
    bytes to(static_cast<std::size_t>(engine_->get_output_size()), 0xcd);
    unsigned out_size = 0;
    EXPECT_EQ(
        1, engine_->process(static_cast<unsigned>(from.size()), from.data(), out_size, to.data()));
    EXPECT_EQ(to.size(), out_size);
    picture result(plan_.space, plan_.out_width, plan_.out_height);
    result.read(to);
    return result;
  }

 private:
  plan plan_;
  qor_resize* engine_;
};

picture resized(const plan& p, const picture& in) { return resizer(p)(in); }

picture mirrored(picture in, bool x, bool y) {
  for (picture_plane& p : in.planes) {
    const picture_plane before = p;
    for (int v = 0; v < p.height; ++v) {
      for (int u = 0; u < p.width; ++u) {
        p.at(u, v) = before.at(x ? p.width - 1 - u : u, y ? p.height - 1 - v : v);
      }
    }
  }
  return in;
}

std::string name_of(const plan& p) {
  return "layout " + std::to_string(p.space) + ", method " + std::to_string(p.method) + ", mode " +
         std::to_string(p.mode) + ", smoothing " + std::to_string(p.smoothing) + ", " +
         std::to_string(p.in_width) + " x " + std::to_string(p.in_height) + " to " +
         std::to_string(p.out_width) + " x " + std::to_string(p.out_height);
}

TEST(ResizeIdentity, EqualSizesPassTheFrameThroughWhateverElseIsAsked) {
  for (const int space : every_layout) {
    const picture in = noise(space, 22, 14);
    for (const int method : {0, 1, 2, 3, 4}) {
      for (const int mode : {0, 1, 2}) {
        plan p = {space, 22, 14, 22, 14, method, mode};
        p.smoothing = 2;
        EXPECT_EQ(in.planes, resized(p, in).planes) << name_of(p);
      }
    }
  }
}

// If only one axis has equal sizes, both passes run. Cubic convolution must then not change that
// axis; pictures that are constant along it and are scaled line by line show this.
TEST(ResizeIdentity, CubicConvolutionLeavesAnAxisOfEqualSizesAlone) {
  for (const int space : {4, 6, 8}) {
    for (const float a : {-0.5F, -0.75F, -1.0F, 0.0F}) {
      for (const int other : {7, 21, 40}) {
        const picture in = noise(space, 16, 12);
        plan wider = {space, other, 12, 16, 12};
        wider.kernel_param = a;
        const picture out = resized(wider, in);
        for (int y = 0; y < 12; ++y) {
          picture stripe = in;
          for (std::size_t p = 0; p < in.planes.size(); ++p) {
            for (int v = 0; v < 12; ++v) {
              for (int x = 0; x < 16; ++x) stripe.planes[p].at(x, v) = in.planes[p].at(x, y);
            }
          }
          const picture line = resized(wider, stripe);
          for (std::size_t p = 0; p < out.planes.size(); ++p) {
            for (int x = 0; x < other; ++x) {
              ASSERT_EQ(line.planes[p].at(x, 5), out.planes[p].at(x, y)) << name_of(wider);
            }
          }
        }
        plan higher = {space, 16, other, 16, 12};
        higher.kernel_param = a;
        const picture tall = resized(higher, in);
        for (int x = 0; x < 16; ++x) {
          picture stripe = in;
          for (std::size_t p = 0; p < in.planes.size(); ++p) {
            for (int v = 0; v < 12; ++v) {
              for (int u = 0; u < 16; ++u) stripe.planes[p].at(u, v) = in.planes[p].at(x, v);
            }
          }
          const picture column = resized(higher, stripe);
          for (std::size_t p = 0; p < tall.planes.size(); ++p) {
            for (int y = 0; y < other; ++y) {
              ASSERT_EQ(column.planes[p].at(5, y), tall.planes[p].at(x, y)) << name_of(higher);
            }
          }
        }
      }
    }
  }
}

// Scaling n samples to 2n - 1 puts every other output on a sample.
TEST(ResizeIdentity, OutputsThatFallOnASampleCopyIt) {
  for (const int method : {1, 2}) {
    const picture in = noise(qor_resize::yuv444_16, 14, 10);
    const plan p = {qor_resize::yuv444_16, 27, 19, 14, 10, method};
    const picture out = resized(p, in);
    for (std::size_t i = 0; i < 3; ++i) {
      for (int y = 0; y < 10; ++y) {
        for (int x = 0; x < 14; ++x) {
          ASSERT_EQ(in.planes[i].at(x, y), out.planes[i].at(2 * x, 2 * y)) << name_of(p);
        }
      }
    }
  }
}

constexpr int constant_out_sizes[] = {1, 2, 3, 5, 16, 17, 31, 64};

// Weights of methods 1 and 2 sum to one, except for the rounding of single precision. The 8-bit
// store rounds this error away; the 16-bit store truncates and may lose one step in each of the two
// passes.
TEST(ResizeConstant, AConstantPictureStaysConstantWhereWeightsSumToOne) {
  for (const int space : every_layout) {
    const bool truncates = sample_bytes(space) == 2;
    for (const int method : {1, 2, 4}) {
      for (const int mode : {0, 2}) {
        for (const int out_width : constant_out_sizes) {
          for (const int out_height : constant_out_sizes) {
            plan p = {space, out_width, out_height, 18, 14, method, mode};
            p.smoothing = 2;
            for (const int tenth : {0, 1, 5, 9, 10}) {
              picture in(space, 18, 14);
              const int value = in.largest_sample() * tenth / 10;
              for (picture_plane& q : in.planes) {
                std::fill(q.samples.begin(), q.samples.end(), value);
              }
              const int least = truncates && method != 4 ? std::max(0, value - 2) : value;
              for (const picture_plane& q : resized(p, in).planes) {
                const bool by_fields = mode == 2 && !(q.chroma && shift_y(space) == 1);
                const int rows = by_fields ? q.height / 2 * 2 : q.height;
                for (int y = 0; y < rows; ++y) {
                  for (int x = 0; x < q.width; ++x) {
                    ASSERT_LE(q.at(x, y), value) << name_of(p);
                    ASSERT_GE(q.at(x, y), least) << name_of(p);
                  }
                }
              }
            }
          }
        }
      }
    }
  }
}

// The B-spline's weights sum to one inside the picture and to five sixths at the edges.
TEST(ResizeConstant, TheSplineKeepsAConstantPictureInsideAndDarkensItsEdge) {
  for (const int out : {16, 40, 61}) {
    const plan p = {qor_resize::yuv444, out, out, 20, 20, 3};
    picture in(p.space, 20, 20);
    for (picture_plane& q : in.planes) std::fill(q.samples.begin(), q.samples.end(), 180);
    const int margin = out / 20 + 1;  // at least one source sample
    for (const picture_plane& q : resized(p, in).planes) {
      for (int y = margin; y < out - margin; ++y) {
        for (int x = margin; x < out - margin; ++x) ASSERT_EQ(180, q.at(x, y)) << name_of(p);
      }
      for (const int edge : {0, out - 1}) {
        EXPECT_EQ(150, q.at(edge, out / 2)) << name_of(p);
        EXPECT_EQ(150, q.at(out / 2, edge)) << name_of(p);
        EXPECT_EQ(125, q.at(edge, edge)) << name_of(p);
      }
    }
  }
}

// With 16 samples and 21 outputs the step is exactly three quarters: no position needs rounding,
// and none is half way between samples at an edge, where both ends round in the same direction
// instead of symmetrically.
TEST(ResizeMirror, AMirroredPictureGivesTheMirroredPicture) {
  for (const int space : {4, 6, 8}) {
    const picture in = noise(space, 16, 16);
    for (const int method : {1, 2}) {
      const plan p = {space, 21, 21, 16, 16, method};
      const picture out = resized(p, in);
      for (const bool x : {false, true}) {
        for (const bool y : {false, true}) {
          EXPECT_EQ(mirrored(out, x, y).planes, resized(p, mirrored(in, x, y)).planes)
              << name_of(p);
        }
      }
    }
  }
}

// Integer steps: every output is at a sample.
TEST(ResizeMirror, HoldsForReductionsByWholeSteps) {
  for (const int method : {1, 2}) {
    const picture in = noise(qor_resize::yuv444, 16, 28);
    const plan p = {qor_resize::yuv444, 6, 10, 16, 28, method};
    const picture out = resized(p, in);
    EXPECT_EQ(mirrored(out, true, true).planes, resized(p, mirrored(in, true, true)).planes)
        << name_of(p);
  }
}

// One sample to the right of and below the position: by design not symmetric.
TEST(ResizeNearest, TakesTheSampleToTheRightAndBelow) {
  const picture in = noise(qor_resize::ayuv444, 16, 28);
  const plan p = {qor_resize::ayuv444, 6, 10, 16, 28, 4};
  const picture out = resized(p, in);
  for (std::size_t i = 0; i < 4; ++i) {
    for (int y = 0; y < 10; ++y) {
      for (int x = 0; x < 6; ++x) {
        EXPECT_EQ(in.planes[i].at(std::min(3 * x + 1, 15), std::min(3 * y + 1, 27)),
                  out.planes[i].at(x, y));
      }
    }
  }
}

// Samples are copied, so the order of the passes does not matter: rows and columns can be
// exchanged.
TEST(ResizeNearest, CommutesWithTransposition) {
  const auto transposed = [](const picture& in) {
    const picture_plane& luma = in.planes.back();
    picture result(in.space(), luma.height, luma.width);
    for (std::size_t p = 0; p < in.planes.size(); ++p) {
      for (int y = 0; y < luma.height; ++y) {
        for (int x = 0; x < luma.width; ++x) result.planes[p].at(y, x) = in.planes[p].at(x, y);
      }
    }
    return result;
  };
  for (const int space : {4, 6, 8}) {
    const picture in = noise(space, 26, 18);
    for (const int w : {1, 8, 13, 50}) {
      for (const int h : {1, 7, 16, 33}) {
        const picture out = resized({space, w, h, 26, 18, 4}, in);
        const picture swapped = resized({space, h, w, 18, 26, 4}, transposed(in));
        EXPECT_EQ(transposed(out).planes, swapped.planes) << w << " x " << h;
      }
    }
  }
}

// Separates and interleaves the two fields of one plane.
picture field_of(const picture& frame, int f, int width, int height) {
  picture result(frame.space(), width, height / 2);
  for (std::size_t p = 0; p < result.planes.size(); ++p) {
    for (int y = 0; y < result.planes[p].height; ++y) {
      for (int x = 0; x < result.planes[p].width; ++x) {
        result.planes[p].at(x, y) = frame.planes[p].at(x, 2 * y + f);
      }
    }
  }
  return result;
}

// Layouts with chroma of full height: each field is scaled like a separate picture. If the
// reduction requires 3x3, the mask is the same for luma and chroma, as in complete pictures.
TEST(ResizeFields, ScaledApartAndInterleavedTheyMakeTheFrameOfTheFieldMode) {
  for (const int space : {3, 4, 5, 6, 7, 8}) {
    for (const int method : {1, 2, 3, 4}) {
      for (const int smoothing : {0, 1}) {
        if (smoothing == 1 && has_alpha(space)) continue;  // smoothed in fields only
        for (const int out_width : {9, 12, 24, 31}) {
          for (const int out_height : {2, 12, 16, 52}) {
            // Up to 24 x 28 to 9 x 12: above 1.7, below 3.8.
            if (smoothing == 1 && out_height == 2) continue;
            plan p = {space, out_width, out_height, 24, 28, method, 2, smoothing};
            const picture in = noise(space, 24, 28);
            const picture whole = resized(p, in);
            p.mode = 0;
            p.in_height /= 2;
            p.out_height /= 2;
            for (const int f : {0, 1}) {
              EXPECT_EQ(resized(p, field_of(in, f, 24, 28)).planes,
                        field_of(whole, f, out_width, out_height).planes)
                  << name_of(p);
            }
          }
        }
      }
    }
  }
}

// 4:2:0: luma is scaled by fields, chroma as a complete picture of its height with the field's
// table.
TEST(ResizeFields, HalfHeightChromaIsScaledWhole) {
  for (const int space : {1, 2}) {
    for (const int method : {1, 2, 3, 4}) {
      const picture in = noise(space, 24, 28);
      plan p = {space, 31, 52, 24, 28, method, 2};
      const picture by_fields = resized(p, in);
      // Its chroma has the height of one field, so it is scaled like one field of a 4:2:2 frame.
      const int narrow = space == 1 ? 3 : 5;
      picture field(narrow, 24, 14);
      field.planes.end()[-2] = in.planes.end()[-2];
      field.planes.end()[-1] = in.planes.end()[-1];
      p.space = narrow;
      p.mode = 0;
      p.in_height = 14;
      p.out_height = 26;
      const picture whole = resized(p, field);
      EXPECT_EQ(whole.planes.end()[-2], by_fields.planes.end()[-2]) << name_of(p);
      EXPECT_EQ(whole.planes.end()[-1], by_fields.planes.end()[-1]) << name_of(p);
    }
  }
}

TEST(ResizeFields, OneFieldNeverShowsInTheOther) {
  for (const int space : {3, 4, 5, 6, 7, 8}) {
    plan p = {space, 17, 40, 24, 28, 2, 2};
    p.smoothing = 2;
    picture in = noise(space, 24, 28);
    const picture before = field_of(resized(p, in), 0, 17, 40);
    for (picture_plane& q : in.planes) {
      for (int y = 1; y < q.height; y += 2) {
        for (int x = 0; x < q.width; ++x) q.at(x, y) = in.largest_sample() - q.at(x, y);
      }
    }
    EXPECT_EQ(before.planes, field_of(resized(p, in), 0, 17, 40).planes) << name_of(p);
  }
}

TEST(ResizeFrames, NoFrameDependsOnTheOnesBefore) {
  for (const int space : every_layout) {
    for (const int mode : {0, 1, 2}) {
      plan p = {space, 14, 22, 32, 38, 2, mode};
      p.smoothing = 1;
      resizer used(p);
      for (const unsigned seed : {1U, 2U, 3U, 1U}) {
        const picture in = noise(space, 32, 38, seed);
        EXPECT_EQ(resized(p, in).planes, used(in).planes) << name_of(p);
      }
    }
  }
}

TEST(ResizeCrop, CroppingIsTheSameAsHandingInTheRectangle) {
  for (const int space : every_layout) {
    for (const int mode : {0, 2}) {
      plan p = {space, 27, 40, 40, 36, 2, mode};
      p.smoothing = 1;
      p.left = 4;
      p.right = 6;
      p.top = 8;
      p.bottom = 4;
      const picture in = noise(space, 40, 36);
      picture rectangle(space, 30, 24);
      for (std::size_t i = 0; i < in.planes.size(); ++i) {
        picture_plane& q = rectangle.planes[i];
        const int x0 = q.chroma ? 4 >> shift_x(space) : 4;
        const int y0 = q.chroma ? 8 >> shift_y(space) : 8;
        for (int y = 0; y < q.height; ++y) {
          for (int x = 0; x < q.width; ++x) q.at(x, y) = in.planes[i].at(x0 + x, y0 + y);
        }
      }
      plan whole = {space, 27, 40, 30, 24, 2, mode};
      whole.smoothing = 1;
      EXPECT_EQ(resized(whole, rectangle).planes, resized(p, in).planes) << name_of(p);
    }
  }
}

// Planes are independent: a change of one does not affect the others.
TEST(ResizePlanes, EachOutputPlaneComesFromItsOwnInputPlane) {
  for (const int space : every_layout) {
    for (const int mode : {0, 2}) {
      plan p = {space, 23, 26, 30, 44, 3, mode};
      p.smoothing = 2;
      const picture in = noise(space, 30, 44);
      const picture before = resized(p, in);
      for (std::size_t changed = 0; changed < in.planes.size(); ++changed) {
        picture other = in;
        for (int& sample : other.planes[changed].samples) sample = in.largest_sample() - sample;
        const picture after = resized(p, other);
        for (std::size_t i = 0; i < in.planes.size(); ++i) {
          EXPECT_EQ(i != changed, before.planes[i] == after.planes[i]) << name_of(p);
        }
      }
    }
  }
}

}  // namespace
