#include "component/filter/video/static_watermark/static_watermark.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <random>
#include <stdexcept>
#include <string>

#include "host/cm/video_frame.h"
#include "tests/component/filter/video/static_watermark/reference_mark.h"
#include "tests/component/filter/video/static_watermark/test_host.h"

namespace {

using test_host::bytes;
using test_host::counted;
using test_host::foreign_frame;
using test_host::module;
using test_host::session;

constexpr unsigned int iyuv = 0x49595556;
constexpr unsigned int y22p = 0x59323250;
constexpr unsigned int y44p = 0x59343450;
constexpr std::array<unsigned int, 3> fourccs = {iyuv, y22p, y44p};  // by compositor format

// The component's members as they are laid out after its base.
struct members {
  std::int32_t watermark_x;
  std::int32_t watermark_y;
  std::uint16_t reserved16;
  std::uint32_t opacity;
  std::uint32_t frame_width;
  std::uint32_t frame_height;
  std::int32_t watermark_width;
  std::int32_t watermark_height;
  void* compositor;
  void* image_resizer;
  void* alpha_resizer;
  std::uint32_t frame_size;
  std::uint32_t output_fourcc;
};
static_assert(sizeof(static_watermark) == sizeof(QOR::CM::RFilter) + sizeof(members));

members members_of(const session& s) {
  members m;
  const void* const object = dynamic_cast<const void*>(s.filter.get());
  std::memcpy(&m, static_cast<const char*>(object) + sizeof(QOR::CM::RFilter), sizeof m);
  return m;
}

bytes noise(std::size_t count) {
  std::mt19937 engine(static_cast<unsigned int>(count));
  bytes made(count);
  for (unsigned char& b : made) b = static_cast<unsigned char>(engine());
  return made;
}

QOR::RPtr<cm::VideoFrame> frame_of(const bytes& picture, unsigned int fourcc,
                                   const cm::FrameProperties& properties = {}) {
  QOR::RPtr<cm::VideoFrame> frame =
      cm::VideoFrame::create(fourcc, static_cast<unsigned int>(picture.size()), properties);
  if (!picture.empty()) std::memcpy(frame->data(), picture.data(), picture.size());
  return frame;
}

bytes picture_of(const cm::VideoFrame& frame) {
  return bytes(frame.data(), frame.data() + frame.size());
}

// The module stays loaded, so that a leak report can name its functions.
class StaticWatermark : public testing::Test {
 protected:
  static const module& library() {
    static const auto* const loaded = new module();
    return *loaded;
  }

  void TearDown() override { EXPECT_EQ(counted::alive, 0); }

  // Configures for a frame size and processes one picture.
  static bytes run(unsigned int width, unsigned int height, unsigned int format,
                   const bytes& picture) {
    session s(library(), width, height, fourccs[format]);
    s.configure();
    s.input->frames.push_back(frame_of(picture, fourccs[format]));
    EXPECT_TRUE(s.filter->process());
    if (s.output->frames.size() != 1) return {};
    const auto* const out = dynamic_cast<const cm::VideoFrame*>(s.output->frames[0].get());
    return out == nullptr ? bytes() : picture_of(*out);
  }
};

struct failure {
  std::string name, file, function, message;
  int line;
};

failure configure_and_fail(session& s) {
  try {
    s.configure();
  } catch (const QOR::CException& e) {
    return {e.name(), e.file(), e.function(), e.message(), e.line()};
  }
  ADD_FAILURE() << "no exception";
  return {};
}

void expect_failure(const failure& f, int line, const char* message) {
  EXPECT_EQ(f.name, "QOR::CException");
  EXPECT_EQ(f.line, line);
  EXPECT_EQ(f.file, "component/filter/video/static_watermark/static_watermark");
  EXPECT_EQ(f.function,
            "virtual Result static_watermark::configure(QOR::CM::RFilterConfiguration &)");
  EXPECT_EQ(f.message, message);
}

TEST_F(StaticWatermark, SaysWhatItIs) {
  const auto filter = library().component();
  ASSERT_NE(filter, nullptr);
  EXPECT_EQ(filter->type(), 0x666c7472U);
  EXPECT_EQ(filter->numSimpleThreads(), 0U);
  EXPECT_FALSE(filter->isVPLComponent());
  filter->getStatus();
  filter->flush();
}

TEST_F(StaticWatermark, TakesNoFrameButFromItsQueue) {
  const auto filter = library().component();
  try {
    filter->process(QOR::RPtr<QOR::CM::RFrame>());
    FAIL() << "no exception";
  } catch (const QOR::CException& e) {
    EXPECT_STREQ(e.name(), "QOR::CException");
    EXPECT_EQ(e.line(), 256);
    EXPECT_STREQ(e.file(), "lib/cm/CMComponent");
    EXPECT_STREQ(e.function(),
                 "virtual bool QOR::CM::CMMultipleQueueComponent::process(RPtr<QOR::CM::RFrame>)");
    EXPECT_STREQ(e.message(), "process(CMFrame) not implemented!");
  }
}

TEST_F(StaticWatermark, ConfiguresFullHd) {
  session s(library(), 1920, 1080, iyuv);
  EXPECT_EQ(s.configure(),
            "Size: 1728, 401, 1385856, 1\n"
            "Alpha Size: 1728, 401, 2078784, 1\n"
            "system_informat, else 41595556\n");
  EXPECT_EQ(s.output->stream.get(), s.input->stream.get());

  const members m = members_of(s);
  EXPECT_EQ(m.watermark_x, 96);
  EXPECT_EQ(m.watermark_y, 339);
  EXPECT_EQ(m.reserved16, 0xFFFF);
  EXPECT_EQ(m.opacity, 100U);
  EXPECT_EQ(m.frame_width, 1920U);
  EXPECT_EQ(m.frame_height, 1080U);
  EXPECT_EQ(m.watermark_width, 1728);
  EXPECT_EQ(m.watermark_height, 401);
  EXPECT_NE(m.compositor, nullptr);
  EXPECT_NE(m.image_resizer, nullptr);
  EXPECT_NE(m.alpha_resizer, nullptr);
  EXPECT_EQ(m.frame_size, 3110400U);
  EXPECT_EQ(m.output_fourcc, iyuv);
}

struct known_size {
  unsigned int frame_width, frame_height;
  int width, height, x, y;
};

TEST_F(StaticWatermark, PlacesTheArtworkAtKnownSizes) {
  for (const known_size& k :
       {known_size{1280, 720, 1152, 267, 64, 226}, known_size{720, 576, 648, 150, 36, 213}}) {
    for (unsigned int format = 0; format < 3; ++format) {
      session s(library(), k.frame_width, k.frame_height, fourccs[format]);
      s.configure();
      const members m = members_of(s);
      EXPECT_EQ(m.watermark_width, k.width);
      EXPECT_EQ(m.watermark_height, k.height);
      EXPECT_EQ(m.watermark_x, k.x);
      EXPECT_EQ(m.watermark_y, k.y);
      EXPECT_EQ(m.output_fourcc, fourccs[format]);
      EXPECT_EQ(m.frame_size, reference_mark::frame_bytes(k.frame_width, k.frame_height, format));
    }
  }
}

TEST_F(StaticWatermark, PlacesTheArtworkAtEveryWidth) {
  for (unsigned int width = 0; width < 640; width += width < 100 ? 1 : 7) {
    const unsigned int height = 150 + width % 3;
    session s(library(), width, height, y22p);
    s.configure();
    const members m = members_of(s);
    const reference_mark::placement p = reference_mark::place(width, height);
    EXPECT_EQ(m.watermark_width, p.width) << width;
    EXPECT_EQ(m.watermark_height, p.height) << width;
    EXPECT_EQ(m.watermark_x, p.x) << width;
    EXPECT_EQ(m.watermark_y, p.y) << width;
    EXPECT_EQ(s.printed.substr(0, s.printed.find('\n')),
              "Size: " + std::to_string(p.width) + ", " + std::to_string(p.height) + ", " +
                  std::to_string(2 * p.width * p.height) + ", 1");
  }
}

TEST_F(StaticWatermark, RejectsAMissingKeyAfterScaling) {
  session s(library(), 1920, 1080, 0);
  expect_failure(configure_and_fail(s), 196, "*** ERROR ***: Incorrect colorspace");
  EXPECT_EQ(s.printed,
            "Size: 1728, 401, 1385856, 1\n"
            "Alpha Size: 1728, 401, 2078784, 1\n"
            "system_informat, else 41595556\n");
  EXPECT_EQ(s.output->stream.get(), s.input->stream.get());
}

TEST_F(StaticWatermark, RejectsOtherLayouts) {
  for (const unsigned int fourcc : {0x41595556U, 0x59563132U, 0x56555949U, iyuv + 1}) {
    session s(library(), 64, 32, fourcc);
    expect_failure(configure_and_fail(s), 196, "*** ERROR ***: Incorrect colorspace");
  }
}

TEST_F(StaticWatermark, RejectsAFrameFlatterThanItsArtwork) {
  session s(library(), 1000, 100, iyuv);
  expect_failure(configure_and_fail(s), 203, "*** ERROR ***: Error configuring watermark.");
  const members m = members_of(s);
  EXPECT_EQ(m.watermark_width, 900);
  EXPECT_EQ(m.watermark_height, 209);
  EXPECT_EQ(m.watermark_y, -54);
}

// 209 rows of artwork: in a frame of 208 rows it starts at -0.5, truncated to 0, and does not fit.
TEST_F(StaticWatermark, OneRowDecides) {
  session flat(library(), 1000, 208, y44p);
  expect_failure(configure_and_fail(flat), 203, "*** ERROR ***: Error configuring watermark.");
  EXPECT_EQ(members_of(flat).watermark_y, 0);
  session enough(library(), 1000, 209, y44p);
  enough.configure();
}

TEST_F(StaticWatermark, AnEmptyQueueGivesNothing) {
  session s(library(), 64, 32, iyuv);
  s.configure();
  EXPECT_FALSE(s.filter->process());
  EXPECT_TRUE(s.output->frames.empty());
}

TEST_F(StaticWatermark, MarksFramesAsTheEnginesDo) {
  struct size {
    unsigned int width, height;
  };
  for (const size& z : {size{320, 240}, size{322, 181}, size{321, 243}, size{720, 576},
                        size{722, 577}, size{1280, 720}, size{1000, 209}}) {
    for (unsigned int format = 0; format < 3; ++format) {
      const bytes picture = noise(reference_mark::frame_bytes(z.width, z.height, format));
      const bytes out = run(z.width, z.height, format, picture);
      EXPECT_NE(out, picture);
      EXPECT_EQ(out == reference_mark::marked(picture, z.width, z.height, format), true)
          << z.width << " x " << z.height << ", format " << format;
    }
  }
}

TEST_F(StaticWatermark, MarksTinyFrames) {
  for (unsigned int width = 0; width <= 40; ++width) {
    for (const unsigned int height : {9U, 16U}) {
      for (unsigned int format = 0; format < 3; ++format) {
        const bytes picture = noise(reference_mark::frame_bytes(width, height, format));
        EXPECT_EQ(run(width, height, format, picture),
                  reference_mark::marked(picture, width, height, format))
            << width << " x " << height << ", format " << format;
      }
    }
  }
}

TEST_F(StaticWatermark, TouchesNothingOutsideTheArtwork) {
  const unsigned int width = 722;
  const unsigned int height = 577;
  const reference_mark::placement p = reference_mark::place(width, height);
  for (unsigned int format = 0; format < 3; ++format) {
    const bytes picture = noise(reference_mark::frame_bytes(width, height, format));
    const bytes out = run(width, height, format, picture);
    ASSERT_EQ(out.size(), picture.size());
    std::size_t at = 0;
    for (int plane = 0; plane < 3; ++plane) {
      const unsigned int sx = plane == 0 ? 0 : reference_mark::shift_x(format);
      const unsigned int sy = plane == 0 ? 0 : reference_mark::shift_y(format);
      for (std::int64_t y = 0; y < height >> sy; ++y) {
        for (std::int64_t x = 0; x < width >> sx; ++x, ++at) {
          const bool inside = x >= p.x >> sx && x < (p.x >> sx) + (p.width >> sx) &&
                              y >= p.y >> sy && y < (p.y >> sy) + (p.height >> sy);
          if (inside) continue;
          ASSERT_EQ(out[at], picture[at]) << "plane " << plane << ": " << x << ", " << y;
        }
      }
    }
  }
}

// Even and odd artwork widths: 648, 649, 1728, 1729.
TEST_F(StaticWatermark, LeavesNeutralChromaNeutral) {
  struct size {
    unsigned int width, height;
  };
  for (const size& z : {size{720, 576}, size{722, 576}, size{1920, 1080}, size{1922, 1081}}) {
    for (unsigned int format = 0; format < 3; ++format) {
      const std::size_t luma = std::size_t{z.width} * z.height;
      bytes picture = noise(luma);
      picture.resize(reference_mark::frame_bytes(z.width, z.height, format), 128);
      const bytes out = run(z.width, z.height, format, picture);
      ASSERT_EQ(out.size(), picture.size());
      for (std::size_t i = luma; i < out.size(); ++i) {
        ASSERT_EQ(out[i], 128) << z.width << " x " << z.height << ", format " << format << ", byte "
                               << i;
      }
    }
  }
}

TEST_F(StaticWatermark, NewFramesCarryFormatSizeAndPropertiesOfTheirInput) {
  session s(library(), 64, 32, y44p);
  s.configure();
  const cm::FrameProperties properties(new test_host::description(1, 2));
  for (int i = 0; i < 3; ++i) {
    const bytes picture(64 * 32 * 3, 200);
    const QOR::RPtr<cm::VideoFrame> frame = frame_of(picture, iyuv, properties);
    s.input->frames.emplace_back(frame);
    EXPECT_TRUE(s.filter->process());
    EXPECT_EQ(picture_of(*frame), picture);
  }
  EXPECT_FALSE(s.filter->process());
  ASSERT_EQ(s.output->frames.size(), 3U);
  for (const auto& put : s.output->frames) {
    const auto* const out = dynamic_cast<const cm::VideoFrame*>(put.get());
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(out->fourcc(), y44p);
    EXPECT_EQ(out->size(), 64U * 32 * 3);
    EXPECT_EQ(out->properties().get(), properties.get());
    EXPECT_EQ(picture_of(*out),
              picture_of(*dynamic_cast<const cm::VideoFrame*>(s.output->frames[0].get())));
  }
}

TEST_F(StaticWatermark, PutsTheEmptyPointerOfAHostThatMadeNoFrame) {
  session s(library(), 64, 32, iyuv);
  s.configure();
  s.input->frames.emplace_back(new foreign_frame(bytes(64 * 32 * 3 / 2, 7)));
  EXPECT_TRUE(s.filter->process());
  ASSERT_EQ(s.output->frames.size(), 1U);
  EXPECT_EQ(s.output->frames[0].get(), nullptr);
}

void expect_passed_on(session& s) {
  const QOR::RPtr<QOR::CM::RVideoFrame> frame(new foreign_frame(bytes(16, 7)));
  s.input->frames.push_back(frame);
  EXPECT_TRUE(s.filter->process());
  ASSERT_EQ(s.output->frames.size(), 1U);
  EXPECT_EQ(s.output->frames[0].get(), frame.get());
}

TEST_F(StaticWatermark, PassesFramesOnWhenTheCompositorDeclines) {
  session s(library(), 1000, 100, iyuv);
  configure_and_fail(s);
  expect_passed_on(s);
}

TEST_F(StaticWatermark, PassesFramesOnWithoutACompositor) {
  session rejected(library(), 64, 32, 0);
  configure_and_fail(rejected);
  expect_passed_on(rejected);

  session never_configured(library(), 64, 32, iyuv);
  expect_passed_on(never_configured);
}

// Frames too large for the resizer, and widths of which nine tenths exceed int.
TEST_F(StaticWatermark, PassesFramesOnWhenTheArtworkCannotBeScaled) {
  struct size {
    unsigned int width, height;
  };
  for (const size& z : {size{100000, 60000}, size{0x80000000, 0x80000000},
                        size{0xFFFFFFFF, 0xFFFFFFFF}, size{2386092943, 4000000000}}) {
    for (const unsigned int fourcc : fourccs) {
      session s(library(), z.width, z.height, fourcc);
      s.configure();
      EXPECT_EQ(s.printed.find("Size: "), 0U);
      expect_passed_on(s);
    }
  }
}

TEST_F(StaticWatermark, GivesItsReferencesBackWhenTheHostThrows) {
  session s(library(), 64, 32, iyuv);
  s.configure();
  s.output->on_put = [] { throw std::runtime_error("no room"); };
  s.input->frames.emplace_back(new foreign_frame(bytes(64 * 32 * 3 / 2, 7)));
  EXPECT_THROW(s.filter->process(), std::runtime_error);
  EXPECT_EQ(counted::alive, 1);  // the description; the frame is gone
}

TEST_F(StaticWatermark, NeedsAReaderAndAWriter) {
  const auto filter = library().component();
  const QOR::RPtr<test_host::configuration> settings(new test_host::configuration(iyuv));
  EXPECT_THROW(filter->configure(*settings), std::out_of_range);
  EXPECT_THROW(filter->process(), std::out_of_range);
}

TEST_F(StaticWatermark, MayBeConfiguredAgain) {
  session s(library(), 64, 32, iyuv);
  s.configure();
  s.settings->value = y44p;
  s.input->stream = new test_host::description(80, 50);
  s.configure();
  const bytes picture = noise(80 * 50 * 3);
  s.input->frames.push_back(frame_of(picture, y44p));
  EXPECT_TRUE(s.filter->process());
  EXPECT_EQ(picture_of(*dynamic_cast<const cm::VideoFrame*>(s.output->frames[0].get())),
            reference_mark::marked(picture, 80, 50, 2));
}

}  // namespace
