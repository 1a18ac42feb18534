#include "component/filter/video/static_watermark/artwork.h"

#include <gtest/gtest.h>
#include <png.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

using ns_static_watermark::watermark_alpha;
using ns_static_watermark::watermark_picture;

constexpr unsigned int width = 800;
constexpr unsigned int height = 186;

TEST(Artwork, SizesAreThoseOfTheModule) {
  EXPECT_EQ(sizeof watermark_picture, 297600U);
  EXPECT_EQ(sizeof watermark_alpha, 148800U);
}

TEST(Artwork, LumaAndAlphaKeepTheirRangesAndChromaIsNeutral) {
  for (std::size_t i = 0; i < 148800; ++i) {
    ASSERT_GE(watermark_picture[i], 16) << i;
    ASSERT_LE(watermark_picture[i], 95) << i;
    ASSERT_LE(watermark_alpha[i], 102) << i;
  }
  for (std::size_t i = 148800; i < 297600; ++i) ASSERT_EQ(watermark_picture[i], 128) << i;
}

TEST(Artwork, EverySideIsTransparentForEightPixels) {
  for (unsigned int y = 0; y < height; ++y) {
    for (unsigned int x = 0; x < width; ++x) {
      if (x >= 8 && x < width - 8 && y >= 8 && y < height - 8) continue;
      ASSERT_EQ(watermark_alpha[y * width + x], 0) << x << ", " << y;
    }
  }
}

// The samples of a picture file, converted by libpng.
std::vector<unsigned char> grey_and_alpha(const std::string& path) {
  png_image image = {};
  image.version = PNG_IMAGE_VERSION;
  if (png_image_begin_read_from_file(&image, path.c_str()) == 0) return {};
  image.format = PNG_FORMAT_GA;
  std::vector<unsigned char> samples(PNG_IMAGE_SIZE(image));
  if (png_image_finish_read(&image, nullptr, samples.data(), 0, nullptr) == 0) return {};
  return samples;
}

TEST(Artwork, IsThePictureInTheTree) {
  const std::vector<unsigned char> samples = grey_and_alpha(ARTWORK_FILE);
  ASSERT_EQ(samples.size(), 2U * width * height);
  for (std::size_t i = 0; i < samples.size() / 2; ++i) {
    ASSERT_EQ(samples[2 * i], watermark_picture[i]) << i;
    ASSERT_EQ(samples[2 * i + 1], watermark_alpha[i]) << i;
  }
}

// A picture for the tool: grey 50, alpha 0, modified by the tests.
struct picture {
  unsigned int width = 800;
  unsigned int height = 186;
  png_uint_32 format = PNG_FORMAT_GA;
  std::vector<unsigned char> samples;

  picture() : picture(800, 186, PNG_FORMAT_GA) {}
  picture(unsigned int w, unsigned int h, png_uint_32 f) : width(w), height(h), format(f) {
    const unsigned int channels = PNG_IMAGE_SAMPLE_CHANNELS(f) * PNG_IMAGE_SAMPLE_COMPONENT_SIZE(f);
    samples.assign(std::size_t{w} * h * channels, 50);
    if (f != PNG_FORMAT_GA) return;
    for (std::size_t i = 1; i < samples.size(); i += 2) samples[i] = 0;
  }

  void set(unsigned int x, unsigned int y, unsigned char grey, unsigned char alpha) {
    samples[2 * (y * std::size_t{width} + x)] = grey;
    samples[2 * (y * std::size_t{width} + x) + 1] = alpha;
  }
};

class EmbedArtwork : public testing::Test {
 protected:
  EmbedArtwork() {
    directory_ = std::filesystem::path(testing::TempDir()) /
                 ("embed_artwork_" + std::to_string(getpid()) + "_" +
                  testing::UnitTest::GetInstance()->current_test_info()->name());
    std::filesystem::create_directory(directory_);
  }
  ~EmbedArtwork() override { std::filesystem::remove_all(directory_); }

  std::string path(const char* name) const { return (directory_ / name).string(); }
  std::string png() const { return path("artwork.png"); }
  std::string output() const { return path("artwork.cpp"); }

  void write(const picture& p) const {
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    image.width = p.width;
    image.height = p.height;
    image.format = p.format;
    ASSERT_NE(png_image_write_to_file(&image, png().c_str(), 0, p.samples.data(), 0, nullptr), 0);
  }

  // Runs the tool and returns its exit status; its output is in `said`.
  int run(const std::string& from, const std::string& to) {
    const std::string command = "'" EMBED_ARTWORK_TOOL "' '" + from + "' '" + to + "' 2>&1";
    std::FILE* const pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return -1;
    said.clear();
    std::array<char, 256> buffer;
    while (std::fgets(buffer.data(), buffer.size(), pipe) != nullptr) said += buffer.data();
    const int status = pclose(pipe);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  void expect_refusal(const std::string& reason) {
    EXPECT_EQ(run(png(), output()), 1);
    EXPECT_EQ(said, "embed_artwork: " + png() + " " + reason + "\n");
    EXPECT_FALSE(std::filesystem::exists(output()));
  }

  std::string said;

 private:
  std::filesystem::path directory_;
};

TEST_F(EmbedArtwork, AcceptsTheLimits) {
  picture p;
  p.set(8, 8, 16, 102);
  p.set(791, 177, 95, 102);
  write(p);
  EXPECT_EQ(run(png(), output()), 0);
  EXPECT_EQ(said, "");
  EXPECT_TRUE(std::filesystem::exists(output()));
}

TEST_F(EmbedArtwork, RefusesAnotherSize) {
  write(picture(801, 186, PNG_FORMAT_GA));
  expect_refusal("is 801 x 186 pixels; the artwork is 800 x 186");
  write(picture(800, 185, PNG_FORMAT_GA));
  expect_refusal("is 800 x 185 pixels; the artwork is 800 x 186");
}

TEST_F(EmbedArtwork, RefusesAnotherColourType) {
  const std::string wanted = "; the artwork is grey and alpha of 8 bits";
  write(picture(800, 186, PNG_FORMAT_GRAY));
  expect_refusal("is grey without alpha of 8 bits" + wanted);
  write(picture(800, 186, PNG_FORMAT_RGB));
  expect_refusal("is RGB of 8 bits" + wanted);
  write(picture(800, 186, PNG_FORMAT_RGBA));
  expect_refusal("is RGB and alpha of 8 bits" + wanted);
}

TEST_F(EmbedArtwork, RefusesAnotherDepth) {
  write(picture(800, 186, PNG_FORMAT_LINEAR_Y_ALPHA));
  expect_refusal("is grey and alpha of 16 bits; the artwork is grey and alpha of 8 bits");
}

TEST_F(EmbedArtwork, RefusesGreyOutsideItsRange) {
  picture dark;
  dark.set(3, 4, 15, 0);
  write(dark);
  expect_refusal("has grey 15 at 3, 4; it must lie between 16 and 95");
  picture bright;
  bright.set(799, 185, 96, 0);
  write(bright);
  expect_refusal("has grey 96 at 799, 185; it must lie between 16 and 95");
}

TEST_F(EmbedArtwork, RefusesTooMuchAlpha) {
  picture p;
  p.set(400, 90, 50, 103);
  write(p);
  expect_refusal("has alpha 103 at 400, 90; it must not exceed 102");
}

TEST_F(EmbedArtwork, RefusesAMarkInTheMargin) {
  const unsigned int places[][2] = {{7, 90}, {792, 90}, {400, 7}, {400, 178}};
  for (const auto& place : places) {
    picture p;
    p.set(place[0], place[1], 50, 1);
    write(p);
    expect_refusal("has alpha 1 at " + std::to_string(place[0]) + ", " + std::to_string(place[1]) +
                   "; the 8 pixels along every side must be transparent");
  }
}

TEST_F(EmbedArtwork, RefusesWhatIsNoPicture) {
  expect_refusal("cannot be opened");

  std::ofstream(png()) << "This is no picture.";
  EXPECT_EQ(run(png(), output()), 1);
  EXPECT_EQ(said.find("embed_artwork: " + png() + " is no readable PNG: "), 0U) << said;
  EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1);
}

TEST_F(EmbedArtwork, RefusesAPictureThatEndsTooEarly) {
  write(picture());
  std::filesystem::resize_file(png(), std::filesystem::file_size(png()) - 40);
  EXPECT_EQ(run(png(), output()), 1);
  EXPECT_EQ(said.find("embed_artwork: " + png() + " is damaged: "), 0U) << said;
  EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1);
  EXPECT_FALSE(std::filesystem::exists(output()));
}

TEST_F(EmbedArtwork, SaysWhenItCannotWrite) {
  write(picture());
  EXPECT_EQ(run(png(), path("no/such/place.cpp")), 1);
  EXPECT_EQ(said, "embed_artwork: " + png() + " could not be turned into " +
                      path("no/such/place.cpp") + ": writing failed\n");
}

}  // namespace
