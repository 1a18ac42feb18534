#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>

#include "tests/support/guarded_buffer.h"

namespace fuzz {

/// Aborts unless `right`, so that the fuzzer keeps the input.
inline void require(bool right, const char* what) {
  if (right) return;
  std::fprintf(stderr, "wrong: %s\n", what);
  std::abort();
}

/// Reads values from the fuzzer's bytes in order; after their end all values are 0.
class byte_reader {
 public:
  byte_reader(const std::uint8_t* data, std::size_t size) : data_(data), left_(size) {}

  std::size_t left() const { return left_; }

  unsigned int byte() {
    if (left_ == 0) return 0;
    --left_;
    return *data_++;
  }

  /// 32 bits, the least significant byte first.
  std::uint32_t word() {
    std::uint32_t value = 0;
    for (int shift = 0; shift < 32; shift += 8) value |= std::uint32_t{byte()} << shift;
    return value;
  }

  /// A float from any pattern of 32 bits, including NaN and infinity.
  float number() {
    const std::uint32_t bits = word();
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
  }

  bool flag() { return (byte() & 1) != 0; }

  /// A number from `low` to `high`, which differ by at most 65535.
  int between(int low, int high) {
    const unsigned int range = static_cast<unsigned int>(high - low) + 1;
    const unsigned int value = range <= 256 ? byte() : byte() | byte() << 8;
    return low + static_cast<int>(value % range);
  }

  /// Usually 0 to `most`, sometimes any 32 bits.
  int size(int most) { return byte() < 240 ? between(0, most) : static_cast<int>(word()); }

  /// Samples of a kind that the input chooses: noise, extremes, or all equal.
  void fill(unsigned char* bytes, std::size_t count) {
    const unsigned int character = byte();
    const unsigned int seed = byte();
    std::minstd_rand random(seed + 1);
    for (std::size_t i = 0; i < count; ++i) {
      const auto noise = static_cast<unsigned int>(random() >> 8);
      const unsigned int value = character % 3 == 0   ? noise
                                 : character % 3 == 1 ? (noise & 1) * 255
                                                      : seed;
      bytes[i] = static_cast<unsigned char>(value);
    }
  }

  /// The edge at which the buffers of a run are guarded.
  test_support::protected_edge edge() {
    return flag() ? test_support::protected_edge::begin : test_support::protected_edge::end;
  }

 private:
  const std::uint8_t* data_;
  std::size_t left_;
};

/// The fill pattern for an edge.
inline test_support::fill_pattern pattern_of(test_support::protected_edge edge) {
  return edge == test_support::protected_edge::begin ? test_support::fill_pattern::inverse_checker
                                                     : test_support::fill_pattern::checker;
}

/// Checks that nothing around the buffer was written.
inline void require_undamaged(const test_support::guarded_buffer& buffer) {
  require(buffer.damage().empty(), "a byte outside a buffer was written");
}

}  // namespace fuzz
