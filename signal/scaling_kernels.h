#pragma once

namespace ns_signal {

/// Rows of the scaling passes, each a sequence of the vector primitives in one sweep: the taps as
/// floats, each multiplied by its weight, added from tap 0 to the last, with every product and
/// every sum rounded to single precision; then stored as a sample. The caller sets plain arithmetic
/// (see `float_environment`) and passes 2 or 4 taps and a length of at least 1.
///
/// An 8-bit store rounds to nearest, ties to even, and clamps to 0..255; a 16-bit store truncates
/// toward zero and clamps to 0..65535; a NaN becomes 0.
///
/// Threads: any number at the same time, on different destinations.
struct scaling_kernels {
  /// dst[i] = store(rows[0][i] x weights[0] + rows[1][i] x weights[1] + ...), for `len` samples.
  void (*weigh_rows_8u)(const float* const* rows, const float* weights, int taps,
                        unsigned char* dst, int len);
  void (*weigh_rows_16u)(const float* const* rows, const float* weights, int taps,
                         unsigned short* dst, int len);

  /// dst[r][j] = store(rows[r][index[j]] x weights[0][j] + rows[r][index[j] + 1] x weights[1][j] +
  /// ...), for `len` samples of each of `row_count` rows, 1 to `columns_rows`. Indices do not
  /// decrease. From each index, `columns_padding` floats of each row are readable; the values after
  /// the taps do not matter.
  void (*weigh_columns_8u)(const float* const* rows, int row_count, const unsigned int* index,
                           const float* const* weights, int taps, unsigned char* const* dst,
                           int len);
  void (*weigh_columns_16u)(const float* const* rows, int row_count, const unsigned int* index,
                            const float* const* weights, int taps, unsigned short* const* dst,
                            int len);

  /// dst[j] = src[index[j]], for `len` samples. Indices do not decrease; nothing after the last one
  /// is read.
  void (*pick_columns_8u)(const unsigned char* src, const unsigned int* index, unsigned char* dst,
                          int len);
  void (*pick_columns_16u)(const unsigned short* src, const unsigned int* index,
                           unsigned short* dst, int len);
};

/// The number of floats of a row that a kernel may read from an index on.
constexpr int columns_padding = 64;

/// The maximum number of rows that share the indices and weights of one call.
constexpr int columns_rows = 4;

/// The kernels of the current variant; null if it has none and a pass uses the sequence of
/// primitives.
const scaling_kernels* current_scaling_kernels();

/// One set per processor level, each in its own file that is compiled for that level.
extern const scaling_kernels sse2_scaling_kernels;
extern const scaling_kernels avx2_scaling_kernels;
extern const scaling_kernels avx512_scaling_kernels;

}  // namespace ns_signal
