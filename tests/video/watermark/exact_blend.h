#pragma once

#include <cstdint>

namespace watermark_test {

/// A share of 0 to 1 and its products with bytes, with the results of single precision but computed
/// in integers only.
///
/// The share is s / 2^e with e chosen so that s has 24 bits, the significand of single precision; s
/// is the quotient rounded to nearest.
class exact_share {
 public:
  exact_share(unsigned int numerator, unsigned int denominator) {
    if (numerator == 0) return;
    while (((std::uint64_t{numerator} << shift_) / denominator) < (1U << 23)) ++shift_;
    // Half of a denominator (255 or 100) is never the remainder here: there are no ties.
    const std::uint64_t dividend = std::uint64_t{numerator} << shift_;
    share_ = dividend / denominator + (2 * (dividend % denominator) > denominator ? 1 : 0);
  }

  unsigned int shift() const { return shift_; }
  std::uint64_t share() const { return share_; }

  /// byte * share, rounded to 24 bits, ties to even; in units of 2^-shift.
  std::uint64_t of(unsigned int byte) const {
    const std::uint64_t exact = byte * share_;
    std::uint64_t unit = 1;
    while (exact / unit >= (1U << 24)) unit *= 2;
    const std::uint64_t quotient = exact / unit;
    const std::uint64_t twice_rest = 2 * (exact % unit);
    const bool up = twice_rest > unit || (twice_rest == unit && quotient % 2 == 1);
    return (quotient + (up ? 1 : 0)) * unit;
  }

 private:
  unsigned int shift_ = 0;
  std::uint64_t share_ = 0;
};

/// The blend at one alpha. 1 - s / 2^e has at most 31 bits and its product with a byte at most 39,
/// so all double-precision steps are exact and the sum only has to be truncated.
class exact_blend {
 public:
  explicit exact_blend(unsigned int alpha) : share_(alpha, 255) {}

  unsigned int operator()(unsigned int frame, unsigned int overlay) const {
    const std::uint64_t one = std::uint64_t{1} << share_.shift();
    const std::uint64_t from_frame = frame * (one - share_.share());
    return static_cast<unsigned int>((share_.of(overlay) + from_frame) >> share_.shift());
  }

 private:
  exact_share share_;
};

}  // namespace watermark_test
