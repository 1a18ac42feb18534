#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace test_support {

/// The edge of a buffer that is next to a protected page. The other edge has guard values.
enum class protected_edge { begin, end };

/// The initial contents of the guard values and the buffer. The two patterns are complementary: a
/// stray write that happens to store the same value is detected with the other one.
enum class fill_pattern : unsigned char { checker = 0x55, inverse_checker = 0xaa };

/// A buffer with one edge exactly at a page that can be neither read nor written, so that the first
/// access beyond that edge raises SIGSEGV. The bytes beyond the other edge are guard values that
/// `damage` checks. Cannot be copied or moved; throws `std::bad_alloc` if the pages cannot be
/// allocated.
class guarded_buffer {
 public:
  guarded_buffer(std::size_t size, protected_edge edge, fill_pattern pattern);
  ~guarded_buffer();
  guarded_buffer(const guarded_buffer&) = delete;
  guarded_buffer& operator=(const guarded_buffer&) = delete;

  /// First byte; aligned to a page if the protected page is before it, otherwise its alignment
  /// depends on `size`.
  unsigned char* data() { return data_; }
  const unsigned char* data() const { return data_; }
  std::size_t size() const { return size_; }
  unsigned char fill() const { return fill_; }

  /// Empty if no guard value has changed; otherwise names the byte that has, counted from the first
  /// byte of the buffer (negative before it).
  std::string damage() const;

 private:
  unsigned char* mapping_ = nullptr;
  std::size_t mapped_ = 0;
  unsigned char* accessible_ = nullptr;  // between the two protected pages
  std::size_t accessible_size_ = 0;
  unsigned char* data_ = nullptr;
  std::size_t size_;
  unsigned char fill_;
};

/// One image plane in a guarded buffer: rows of `width` samples, `step` bytes from row to row; the
/// bytes between the rows are guard values, too. With the edge at the end, the last sample of the
/// last row is directly before the protected page.
template <typename T>
class guarded_plane {
 public:
  guarded_plane(std::size_t width, std::size_t height, std::size_t step, protected_edge edge,
                fill_pattern pattern)
      : width_(width),
        height_(height),
        step_(step),
        buffer_(height == 0 ? 0 : (height - 1) * step + width * sizeof(T), edge, pattern) {}

  /// First sample of the first row. Aligned for `T` if `step` is a multiple of its size.
  T* data() { return reinterpret_cast<T*>(buffer_.data()); }
  std::size_t width() const { return width_; }
  std::size_t height() const { return height_; }
  std::size_t step() const { return step_; }

  T get(std::size_t x, std::size_t y) const {
    T sample;
    std::memcpy(&sample, buffer_.data() + y * step_ + x * sizeof(T), sizeof(T));
    return sample;
  }
  void set(std::size_t x, std::size_t y, T sample) {
    std::memcpy(buffer_.data() + y * step_ + x * sizeof(T), &sample, sizeof(T));
  }

  /// As `guarded_buffer::damage`, including the gaps between the rows.
  std::string damage() const {
    for (std::size_t y = 0; y + 1 < height_; ++y) {
      for (std::size_t i = width_ * sizeof(T); i < step_; ++i) {
        if (buffer_.data()[y * step_ + i] != buffer_.fill()) {
          return "guard value changed " + std::to_string(i - width_ * sizeof(T)) +
                 " bytes behind row " + std::to_string(y);
        }
      }
    }
    return buffer_.damage();
  }

 private:
  std::size_t width_;
  std::size_t height_;
  std::size_t step_;
  guarded_buffer buffer_;
};

}  // namespace test_support
