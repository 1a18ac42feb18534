// Build tool: embed_artwork ARTWORK.png OUTPUT.cpp
//
// Converts the mark to the constant data that `artwork.h` declares. A picture that does not match
// `artwork.h` is rejected with one line on standard error, exit status 1 and no output.

#include <png.h>

#include <csetjmp>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "component/filter/video/static_watermark/artwork.h"

namespace {

using ns_static_watermark::artwork_alpha_size;
using ns_static_watermark::artwork_height;
using ns_static_watermark::artwork_picture_size;
using ns_static_watermark::artwork_width;

constexpr unsigned int lowest_luma = 16;
constexpr unsigned int highest_luma = 95;
constexpr unsigned int highest_alpha = 102;
constexpr unsigned int margin = 8;
constexpr unsigned int neutral_chroma = 128;

struct refusal {
  std::string reason;
};

template <typename... Parts>
[[noreturn]] void refuse(const Parts&... parts) {
  std::ostringstream reason;
  (reason << ... << parts);
  throw refusal{reason.str()};
}

// libpng reports errors by longjmp, so the functions that call it have no local objects with
// destructors; the reason is stored in a plain buffer.
class png_reader {
 public:
  explicit png_reader(const char* path) : file_(std::fopen(path, "rb")) {
    if (file_ == nullptr) refuse("cannot be opened");
    png_ = png_create_read_struct(PNG_LIBPNG_VER_STRING, this, on_error, on_warning);
    if (png_ != nullptr) info_ = png_create_info_struct(png_);
  }
  png_reader(const png_reader&) = delete;
  png_reader& operator=(const png_reader&) = delete;
  ~png_reader() {
    png_destroy_read_struct(&png_, &info_, nullptr);
    if (file_ != nullptr) std::fclose(file_);
  }

  void read_header() {
    if (!try_header()) refuse("is no readable PNG: ", reason_);
  }

  void read_rows(std::vector<png_bytep>& rows) {
    if (!try_rows(rows.data())) refuse("is damaged: ", reason_);
  }

  unsigned int width() const { return png_get_image_width(png_, info_); }
  unsigned int height() const { return png_get_image_height(png_, info_); }
  int colour_type() const { return png_get_color_type(png_, info_); }
  int bit_depth() const { return png_get_bit_depth(png_, info_); }

 private:
  bool try_header() {
    if (info_ == nullptr) return false;
    if (setjmp(png_jmpbuf(png_)) != 0) return false;
    png_init_io(png_, file_);
    png_read_info(png_, info_);
    return true;
  }

  bool try_rows(png_bytepp rows) {
    if (setjmp(png_jmpbuf(png_)) != 0) return false;
    png_set_interlace_handling(png_);
    png_read_update_info(png_, info_);
    png_read_image(png_, rows);
    png_read_end(png_, nullptr);
    return true;
  }

  [[noreturn]] static void on_error(png_structp png, png_const_charp reason) {
    auto* const self = static_cast<png_reader*>(png_get_error_ptr(png));
    std::snprintf(self->reason_, sizeof self->reason_, "%s", reason);
    png_longjmp(png, 1);
  }

  static void on_warning(png_structp, png_const_charp) {}

  std::FILE* file_;
  png_structp png_ = nullptr;
  png_infop info_ = nullptr;
  char reason_[128] = "out of memory";
};

struct artwork {
  std::vector<unsigned char> luma;
  std::vector<unsigned char> alpha;
};

const char* colour_type_name(int type) {
  switch (type) {
    case PNG_COLOR_TYPE_GRAY:
      return "grey without alpha";
    case PNG_COLOR_TYPE_GRAY_ALPHA:
      return "grey and alpha";
    case PNG_COLOR_TYPE_PALETTE:
      return "palette";
    case PNG_COLOR_TYPE_RGB:
      return "RGB";
    default:
      return "RGB and alpha";
  }
}

artwork read_artwork(const char* path) {
  png_reader reader(path);
  reader.read_header();
  if (reader.width() != artwork_width || reader.height() != artwork_height) {
    refuse("is ", reader.width(), " x ", reader.height(), " pixels; the artwork is ", artwork_width,
           " x ", artwork_height);
  }
  if (reader.colour_type() != PNG_COLOR_TYPE_GRAY_ALPHA || reader.bit_depth() != 8) {
    refuse("is ", colour_type_name(reader.colour_type()), " of ", reader.bit_depth(),
           " bits; the artwork is grey and alpha of 8 bits");
  }

  std::vector<unsigned char> samples(std::size_t{2} * artwork_alpha_size);
  std::vector<png_bytep> rows;
  for (std::size_t y = 0; y < artwork_height; ++y) {
    rows.push_back(samples.data() + y * 2 * artwork_width);
  }
  reader.read_rows(rows);

  artwork made;
  for (std::size_t i = 0; i < samples.size(); i += 2) {
    made.luma.push_back(samples[i]);
    made.alpha.push_back(samples[i + 1]);
  }
  return made;
}

void check(const artwork& mark) {
  for (unsigned int y = 0; y < artwork_height; ++y) {
    for (unsigned int x = 0; x < artwork_width; ++x) {
      const unsigned int luma = mark.luma[y * artwork_width + x];
      const unsigned int alpha = mark.alpha[y * artwork_width + x];
      if (luma < lowest_luma || luma > highest_luma) {
        refuse("has grey ", luma, " at ", x, ", ", y, "; it must lie between ", lowest_luma,
               " and ", highest_luma);
      }
      if (alpha > highest_alpha) {
        refuse("has alpha ", alpha, " at ", x, ", ", y, "; it must not exceed ", highest_alpha);
      }
      const bool in_margin =
          x < margin || x >= artwork_width - margin || y < margin || y >= artwork_height - margin;
      if (in_margin && alpha != 0) {
        refuse("has alpha ", alpha, " at ", x, ", ", y, "; the ", margin,
               " pixels along every side must be transparent");
      }
    }
  }
}

void write_array(std::ostream& out, const char* name, const char* size,
                 const std::vector<unsigned char>& values) {
  constexpr std::size_t values_in_a_line = 24;
  out << "\nconst unsigned char " << name << "[" << size << "] = {";
  for (std::size_t i = 0; i < values.size(); ++i) {
    out << (i % values_in_a_line == 0 ? "\n    " : " ") << static_cast<unsigned int>(values[i])
        << ',';
  }
  out << "\n};\n";
}

void write_source(const char* path, const artwork& mark) {
  std::vector<unsigned char> picture = mark.luma;
  picture.resize(artwork_picture_size, neutral_chroma);

  std::ofstream out(path);
  out << "// Made by embed_artwork; do not edit.\n\n"
         "#include \"component/filter/video/static_watermark/artwork.h\"\n\n"
         "namespace ns_static_watermark {\n";
  write_array(out, "watermark_picture", "artwork_picture_size", picture);
  write_array(out, "watermark_alpha", "artwork_alpha_size", mark.alpha);
  out << "\n}  // namespace ns_static_watermark\n";
  out.close();
  if (!out) {
    std::remove(path);
    refuse("could not be turned into ", path, ": writing failed");
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: embed_artwork ARTWORK.png OUTPUT.cpp\n";
    return 2;
  }
  try {
    const artwork mark = read_artwork(argv[1]);
    check(mark);
    write_source(argv[2], mark);
  } catch (const refusal& refused) {
    std::cerr << "embed_artwork: " << argv[1] << ' ' << refused.reason << '\n';
    return 1;
  }
  return 0;
}
