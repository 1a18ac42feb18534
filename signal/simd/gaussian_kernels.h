#pragma once

#include <cstddef>
#include <cstring>

#include "signal/gaussian_rows.h"

/// The Gaussian filter for registers of any width; see level.h.
namespace ns_signal {
namespace {

// Samples as wide as a lane: 8-bit ones in bytes, 16-bit ones in words.
template <class I>
struct byte_lanes : I {
  static constexpr std::ptrdiff_t size = 1;
  static constexpr int shifted = 0x0f;  // bits left of a sample shifted right by 4
  static typename I::reg add(typename I::reg a, typename I::reg b) { return I::add8(a, b); }
  static typename I::reg sub(typename I::reg a, typename I::reg b) { return I::sub8(a, b); }
  static typename I::reg average(typename I::reg a, typename I::reg b) { return I::average8(a, b); }
  static typename I::reg all(int value) { return I::all8(value); }
};

template <class I>
struct word_lanes : I {
  static constexpr std::ptrdiff_t size = 2;
  static constexpr int shifted = 0x0fff;
  static typename I::reg add(typename I::reg a, typename I::reg b) { return I::add16(a, b); }
  static typename I::reg sub(typename I::reg a, typename I::reg b) { return I::sub16(a, b); }
  static typename I::reg average(typename I::reg a, typename I::reg b) {
    return I::average16(a, b);
  }
  static typename I::reg all(int value) { return I::all16(value); }
};

// The exact sums do not fit in a lane of the sample's width. Each filter therefore computes two
// values that do: the sum's low bits, by additions that wrap, and an approximation of the quotient,
// by averages (each rounds up by at most a half). Together they determine the quotient exactly.
template <class I>
struct gaussian_kernels {
  using reg = typename I::reg;

  // ---- 3x3.

  // One row with the weights (1, 2, 1): the sum's low bits, and a mean that exceeds a quarter of
  // the sum by at most 0.75.
  template <class L>
  struct row_3x3 {
    reg sum, mean;
    explicit row_3x3(const unsigned char* row)
        : row_3x3(I::load(row - L::size), I::load(row), I::load(row + L::size)) {}
    row_3x3(reg left, reg middle, reg right)
        : sum(L::add(L::add(left, right), L::add(middle, middle))),
          mean(L::average(L::average(left, right), middle)) {}
  };

  template <class L>
  static reg combine_3x3(const row_3x3<L>& above, const row_3x3<L>& row, const row_3x3<L>& below) {
    const reg sum = L::add(L::add(above.sum, below.sum), L::add(row.sum, row.sum));
    // Exceeds the true quotient by at most 1.5.
    const reg estimate = L::average(L::average(above.mean, below.mean), row.mean);
    // The low bits of (sum + 7 + bit 4 of the sum) >> 4; the estimate is 0, 1 or 2 above it. Bits
    // that the shift moves in from the adjacent byte are masked with the others.
    const reg tie = I::bit_and(I::template shift_right16<4>(sum), L::all(1));
    const reg rounded = I::template shift_right16<4>(L::add(sum, L::add(L::all(7), tie)));
    const reg excess = I::bit_and(L::sub(estimate, rounded), L::all(L::shifted));
    return L::sub(estimate, excess);
  }

  // A region of one register's width, from top to bottom: the sums of each row are used for three
  // output rows.
  template <class L>
  static void column_3x3(const gaussian_region& region) {
    const unsigned char* src = region.src + region.src_step;
    row_3x3<L> above(region.src - region.src_step);
    row_3x3<L> row(region.src);
    for (std::ptrdiff_t y = 0; y < region.height; ++y, src += region.src_step) {
      const row_3x3<L> below(src);
      I::store(region.dst + y * region.dst_step, combine_3x3(above, row, below));
      above = row;
      row = below;
    }
  }

  // ---- Regions in columns of one register's width.

  // A region narrower than a register is copied to and from buffers.
  template <class L, int reach, class Column>
  static void filter_narrow(const gaussian_region& region, Column column) {
    constexpr std::ptrdiff_t margin = reach * L::size;
    const std::ptrdiff_t bytes = region.width * L::size;
    unsigned char src[2 * reach + 1][I::bytes + 2 * margin] = {};
    unsigned char dst[I::bytes];
    for (std::ptrdiff_t y = 0; y < region.height; ++y) {
      for (int i = 0; i <= 2 * reach; ++i) {
        std::memcpy(src[i], region.src + (y + i - reach) * region.src_step - margin,
                    static_cast<std::size_t>(bytes + 2 * margin));
      }
      column({src[reach] + margin, sizeof src[0], dst, I::bytes, region.width, 1});
      std::memcpy(dst_row(region, y), dst, static_cast<std::size_t>(bytes));
    }
  }

  static unsigned char* dst_row(const gaussian_region& region, std::ptrdiff_t y) {
    return region.dst + y * region.dst_step;
  }

  // Calls `column` for bands of rows, which are small enough for their lines to stay in the cache
  // from one column to the next. The last column may overlap the previous one.
  template <class L, int reach, class Column>
  static void filter_columns(const gaussian_region& region, Column column) {
    constexpr std::ptrdiff_t tall = 8;
    const std::ptrdiff_t last = region.width * L::size - I::bytes;
    if (last < 0) {
      return filter_narrow<L, reach>(region, column);
    }
    for (std::ptrdiff_t y = 0; y < region.height; y += tall) {
      const std::ptrdiff_t rows = region.height - y < tall ? region.height - y : tall;
      gaussian_region block = {region.src + y * region.src_step,
                               region.src_step,
                               dst_row(region, y),
                               region.dst_step,
                               region.width,
                               rows};
      for (std::ptrdiff_t x = 0; x < last; x += I::bytes) {
        column(block);
        block.src += I::bytes;
        block.dst += I::bytes;
      }
      block.src = region.src + y * region.src_step + last;
      block.dst = dst_row(region, y) + last;
      column(block);
    }
  }

  static void filter_3x3_8u(const gaussian_region& region, unsigned short*) {
    filter_columns<byte_lanes<I>, 1>(region, column_3x3<byte_lanes<I>>);
  }

  static void filter_3x3_16u(const gaussian_region& region) {
    filter_columns<word_lanes<I>, 1>(region, column_3x3<word_lanes<I>>);
  }

  // ---- 5x5, 16 bits: the 25 samples in groups of equal weight.

  static reg load_16u(const unsigned char* row, std::ptrdiff_t dx) { return I::load(row + 2 * dx); }

  // The sum's low bits and the mean of 4 samples of equal weight: columns -dx and dx of two rows.
  struct group {
    reg sum, mean;
    group(const unsigned char* above, const unsigned char* below, std::ptrdiff_t dx)
        : group(load_16u(above, -dx), load_16u(above, dx), load_16u(below, -dx),
                load_16u(below, dx)) {}
    group(reg a, reg b, reg c, reg d)
        : sum(I::add16(I::add16(a, b), I::add16(c, d))),
          mean(I::average16(I::average16(a, b), I::average16(c, d))) {}
  };

  static reg times(reg value, int factor) { return I::multiply_low16(value, I::all16(factor)); }

  // The contribution to the quotient of a mean whose samples have the total weight `weight`; less
  // than 2 below the true value.
  static reg share(reg mean, int weight) {
    return I::multiply_high16(mean, I::all16(weight * 65536 / 571));
  }

  static reg pixels_5x5_16u(const unsigned char* r2, std::ptrdiff_t step) {
    const unsigned char* const r1 = r2 - step;
    const unsigned char* const r0 = r1 - step;
    const unsigned char* const r3 = r2 + step;
    const unsigned char* const r4 = r3 + step;

    const reg centre = load_16u(r2, 0);
    reg sum = I::add16(times(centre, 127), I::all16(571 / 2));
    reg estimate = share(centre, 127);
    const auto add_group = [&sum, &estimate](const group& g, int weight) {
      sum = I::add16(sum, times(g.sum, weight));
      estimate = I::add16(estimate, share(g.mean, 4 * weight));
    };
    add_group(group(r0, r4, 2), 2);
    add_group(group(r0, r4, 1), 7);
    add_group(group(r1, r3, 2), 7);
    add_group(group(r1, r3, 1), 31);
    add_group(group(load_16u(r0, 0), load_16u(r4, 0), load_16u(r2, -2), load_16u(r2, 2)), 12);
    add_group(group(load_16u(r1, 0), load_16u(r3, 0), load_16u(r2, -1), load_16u(r2, 1)), 52);

    // The estimate is at most 1 above the result and less than 14 below it. `low` is one less than
    // the estimate; `rest` is below 16 x 571, where the product and shift divide exactly.
    const reg low = I::sub16(estimate, I::all16(1));
    const reg rest = I::sub16(sum, times(low, 571));
    const reg more = I::template shift_right16<9>(I::multiply_high16(rest, I::all16(58765)));
    return I::add16(low, more);
  }

  static void filter_5x5_16u(const gaussian_region& region) {
    filter_columns<word_lanes<I>, 2>(region, [](const gaussian_region& column) {
      for (std::ptrdiff_t y = 0; y < column.height; ++y) {
        I::store(dst_row(column, y),
                 pixels_5x5_16u(column.src + y * column.src_step, column.src_step));
      }
    });
  }

  // ---- 5x5, 8 bits: profiles of each row, then their sums.
  //
  // A block of I::bytes samples fills two registers of 16-bit profiles, in the order of the
  // unpacked bytes; packing the results restores the order. Scratch rows hold complete blocks.

  struct wide {
    reg low, high;
  };

  static void store_profile(unsigned short* to, const wide& profile) {
    I::store(reinterpret_cast<unsigned char*>(to), profile.low);
    I::store(reinterpret_cast<unsigned char*>(to) + I::bytes, profile.high);
  }

  static wide load_profile(const unsigned short* from) {
    return {I::load(reinterpret_cast<const unsigned char*>(from)),
            I::load(reinterpret_cast<const unsigned char*>(from) + I::bytes)};
  }

  // far x (p[-2] + p[2]) + near x (p[-1] + p[1]) + centre x p[0], by products of pairs of bytes.
  // The pairs are chosen so that no sum of two products exceeds a signed 16-bit number.
  struct byte_pairs {
    reg left, middle, right;  // (p[-2], p[-1]), (p[0], 0), (p[1], p[2])

    reg profile(int far, int near, int centre) const {
      const reg sides = I::add16(I::multiply_pairs(left, I::all16(near << 8 | far)),
                                 I::multiply_pairs(right, I::all16(far << 8 | near)));
      return I::add16(sides, I::multiply_pairs(middle, I::all16(centre)));
    }
  };

  // The same by products of words.
  struct word_sums {
    reg far, near, centre;

    reg profile(int by_far, int by_near, int by_centre) const {
      return I::add16(I::add16(times(far, by_far), times(near, by_near)), times(centre, by_centre));
    }
  };

  template <class Half>
  static void store_profiles(const Half& low, const Half& high, const row_profiles& to,
                             std::ptrdiff_t x) {
    store_profile(to.outer + x, {low.profile(2, 7, 12), high.profile(2, 7, 12)});
    store_profile(to.middle + x, {low.profile(7, 31, 52), high.profile(7, 31, 52)});
    store_profile(to.centre + x, {low.profile(12, 52, 127), high.profile(12, 52, 127)});
  }

  static void profile_block(const unsigned char* src, const row_profiles& to, std::ptrdiff_t x) {
    const reg zero = I::all8(0);
    const reg p[5] = {I::load(src - 2), I::load(src - 1), I::load(src), I::load(src + 1),
                      I::load(src + 2)};
    if constexpr (I::multiplies_pairs) {
      store_profiles(byte_pairs{I::unpack_low(p[0], p[1]), I::unpack_low(p[2], zero),
                                I::unpack_low(p[3], p[4])},
                     byte_pairs{I::unpack_high(p[0], p[1]), I::unpack_high(p[2], zero),
                                I::unpack_high(p[3], p[4])},
                     to, x);
    } else {
      const auto low = [zero](reg a) { return I::unpack_low(a, zero); };
      const auto high = [zero](reg a) { return I::unpack_high(a, zero); };
      store_profiles(
          word_sums{I::add16(low(p[0]), low(p[4])), I::add16(low(p[1]), low(p[3])), low(p[2])},
          word_sums{I::add16(high(p[0]), high(p[4])), I::add16(high(p[1]), high(p[3])), high(p[2])},
          to, x);
    }
  }

  static void profiles_5x5_8u(const unsigned char* src, const row_profiles& profiles,
                              std::ptrdiff_t width) {
    std::ptrdiff_t x = 0;
    for (; x <= width - I::bytes; x += I::bytes) {
      profile_block(src + x, profiles, x);
    }
    if (x < width) {
      unsigned char copy[I::bytes + 4] = {};
      std::memcpy(copy, src + x - 2, static_cast<std::size_t>(width - x + 4));
      profile_block(copy + 2, profiles, x);
    }
  }

  // Sum / 571 to nearest. Bounds: outer 7650, middle 32640, centre 65025, sum 145605.
  static reg combine(reg outer0, reg middle1, reg centre, reg middle3, reg outer4) {
    const reg outers = I::add16(outer0, outer4);
    const reg sum = I::add16(I::add16(outers, centre), I::add16(middle1, middle3));
    // Exceeds a quarter of the sum by at most 1.
    const reg quarter = I::average16(I::average16(outers, centre), I::average16(middle1, middle3));
    // With t = sum + 285, 4 x (quarter + 70) is 1 to 5 below t, and 459 / 65536 is below 4 / 571,
    // so the estimate is the result or 1 below it.
    const reg estimate = I::multiply_high16(I::add16(quarter, I::all16(70)), I::all16(459));
    const reg rest = I::sub16(I::add16(sum, I::all16(285)), times(estimate, 571));
    const reg one_more = I::template shift_right16<15>(I::sub16(I::all16(570), rest));
    return I::add16(estimate, one_more);
  }

  static reg combine_block(const row_profiles src[5], std::ptrdiff_t x) {
    const wide outer0 = load_profile(src[0].outer + x);
    const wide middle1 = load_profile(src[1].middle + x);
    const wide centre2 = load_profile(src[2].centre + x);
    const wide middle3 = load_profile(src[3].middle + x);
    const wide outer4 = load_profile(src[4].outer + x);
    return I::pack(combine(outer0.low, middle1.low, centre2.low, middle3.low, outer4.low),
                   combine(outer0.high, middle1.high, centre2.high, middle3.high, outer4.high));
  }

  static void combine_5x5_8u(const row_profiles src[5], unsigned char* dst, std::ptrdiff_t width) {
    std::ptrdiff_t x = 0;
    for (; x <= width - I::bytes; x += I::bytes) {
      I::store(dst + x, combine_block(src, x));
    }
    if (x < width) {
      unsigned char result[I::bytes];
      I::store(result, combine_block(src, x));
      std::memcpy(dst + x, result, static_cast<std::size_t>(width - x));
    }
  }
};

}  // namespace
}  // namespace ns_signal
