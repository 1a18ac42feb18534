#pragma once

#include "signal/scaling_kernels.h"

/// The scaling kernels for registers of any width. The file of a level describes its registers in a
/// struct and gets its kernels from `scaling_level`. The struct has, with `lanes` floats per
/// register:
///
///   floats, integers                  the registers
///   all(value), load(p), mul, add     on floats
///   to_integers(sums, T*)             sums as integers that packing as T clamps to T's range
///   to_sample(sum, T*)                the same for one sum, already clamped
///   store_run(values[4], T* dst)      four registers of integers to one row
///   store_rows(values[4], dst, j)     one register to each of four rows, from column j
///   template <int taps> group         `lanes` columns: their positions and weights
///   weigh_group(group, rows, visit)   sums of four rows
///   pick(src, index, dst, len)        a complete row of columns, for either sample type
///
/// Everything is in an unnamed namespace on purpose: the file of each level gets its own copy,
/// compiled with its own flags, that no other file can be linked with.
namespace ns_signal {
namespace {

template <class R>
struct scaling {
  static constexpr int lanes = R::lanes;
  using integers = typename R::integers;

  // The start of a block, moved back if the block would exceed the end. It then overlaps the
  // previous block, where it computes the same values again.
  static int clamped(int start, int block, int len) {
    return start + block <= len ? start : len - block;
  }

  template <int taps, class T>
  static void weigh_rows(const float* const* rows, const float* weights, T* dst, int len) {
    constexpr int run = 4 * lanes;
    if (len < run) {
      for (int i = 0; i < len; ++i) {
        float sum = rows[0][i] * weights[0];
        for (int k = 1; k < taps; ++k) sum = rows[k][i] * weights[k] + sum;
        dst[i] = R::to_sample(sum, dst);
      }
      return;
    }
    for (int start = 0; start < len; start += run) {
      const int i = clamped(start, run, len);
      integers values[4];
      for (int part = 0; part < 4; ++part) {
        const int at = i + part * lanes;
        auto sum = R::mul(R::load(rows[0] + at), R::all(weights[0]));
        for (int k = 1; k < taps; ++k) {
          sum = R::add(R::mul(R::load(rows[k] + at), R::all(weights[k])), sum);
        }
        values[part] = R::to_integers(sum, dst);
      }
      R::store_run(values, dst + i);
    }
  }

  // Always four rows: the last one replaces missing rows and is written again.
  template <int taps, class T>
  static void weigh_columns(const float* const* given, int row_count, const unsigned int* index,
                            const float* const* weights, T* const* given_dst, int len) {
    const float* rows[columns_rows];
    T* dst[columns_rows];
    for (int r = 0; r < columns_rows; ++r) {
      rows[r] = given[r < row_count ? r : row_count - 1];
      dst[r] = given_dst[r < row_count ? r : row_count - 1];
    }
    if (len < lanes) {
      for (int r = 0; r < row_count; ++r) {
        for (int j = 0; j < len; ++j) {
          const float* const first = rows[r] + index[j];
          float sum = first[0] * weights[0][j];
          for (int k = 1; k < taps; ++k) sum = first[k] * weights[k][j] + sum;
          dst[r][j] = R::to_sample(sum, dst[r]);
        }
      }
      return;
    }
    for (int start = 0; start < len; start += lanes) {
      const int j = clamped(start, lanes, len);
      const typename R::template group<taps> columns(index + j, weights, j);
      integers values[4];
      R::weigh_group(columns, rows, [&](int r, typename R::floats sums) {
        values[r] = R::to_integers(sums, dst[0]);
      });
      R::store_rows(values, dst, j);
    }
  }

  template <class T>
  static void rows_of_2_or_4(const float* const* rows, const float* weights, int taps, T* dst,
                             int len) {
    if (taps == 2) {
      weigh_rows<2>(rows, weights, dst, len);
    } else {
      weigh_rows<4>(rows, weights, dst, len);
    }
  }

  template <class T>
  static void columns_of_2_or_4(const float* const* rows, int row_count, const unsigned int* index,
                                const float* const* weights, int taps, T* const* dst, int len) {
    if (taps == 2) {
      weigh_columns<2>(rows, row_count, index, weights, dst, len);
    } else {
      weigh_columns<4>(rows, row_count, index, weights, dst, len);
    }
  }
};

// The sums of four rows; `Window` holds the part of a row that contains a group's taps.
template <class R, template <int> class Window, int taps, class Visit>
void weigh_in_windows(const typename R::template group<taps>& columns, const float* const* rows,
                      const Visit& visit) {
  for (int r = 0; r < columns_rows; ++r) {
    const Window<taps> window(columns, rows[r]);
    auto sum = R::mul(window.tap(columns, 0), columns.weight[0]);
    for (int k = 1; k < taps; ++k) {
      sum = R::add(R::mul(window.tap(columns, k), columns.weight[k]), sum);
    }
    visit(r, sum);
  }
}

template <class T>
void pick_one_by_one(const T* src, const unsigned int* index, T* dst, int len) {
  for (int j = 0; j < len; ++j) dst[j] = src[index[j]];
}

template <class R>
constexpr scaling_kernels scaling_level() {
  using kernels = scaling<R>;
  return {kernels::template rows_of_2_or_4<unsigned char>,
          kernels::template rows_of_2_or_4<unsigned short>,
          kernels::template columns_of_2_or_4<unsigned char>,
          kernels::template columns_of_2_or_4<unsigned short>,
          R::pick,
          R::pick};
}

}  // namespace
}  // namespace ns_signal
