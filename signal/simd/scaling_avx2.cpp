// Scaling kernels with AVX2. Eight sums stand in one register; the taps of eight columns are loaded
// column by column and transposed.

#include <immintrin.h>

#include "signal/scaling_kernels.h"

namespace {

constexpr int lanes = 8;

// The minimum gives its second operand where that is a NaN, the conversion then the most negative
// integer, and packing makes 0 of it.
__m256i to_integers(__m256 sums, const unsigned char*) {
  return _mm256_cvtps_epi32(_mm256_min_ps(_mm256_set1_ps(255.0f), sums));
}

__m256i to_integers(__m256 sums, const unsigned short*) {
  return _mm256_cvttps_epi32(_mm256_min_ps(_mm256_set1_ps(65535.0f), sums));
}

unsigned char to_sample(float sum, const unsigned char*) {
  const int value = _mm_cvtss_si32(_mm_min_ss(_mm_set_ss(255.0f), _mm_set_ss(sum)));
  return static_cast<unsigned char>(value < 0 ? 0 : value);
}

unsigned short to_sample(float sum, const unsigned short*) {
  const int value = _mm_cvttss_si32(_mm_min_ss(_mm_set_ss(65535.0f), _mm_set_ss(sum)));
  return static_cast<unsigned short>(value < 0 ? 0 : value);
}

// Four times eight values as bytes: those of `values[n]` in the n-th quarter.
__m256i pack_8u(const __m256i (&values)[4]) {
  const __m256i packed = _mm256_packus_epi16(_mm256_packs_epi32(values[0], values[1]),
                                             _mm256_packs_epi32(values[2], values[3]));
  return _mm256_permutevar8x32_epi32(packed, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
}

// Twice eight values as words: those of `first` in the lower half.
__m256i pack_16u(__m256i first, __m256i second) {
  return _mm256_permute4x64_epi64(_mm256_packus_epi32(first, second), 0xD8);
}

// Eight values each of four rows.
void store_rows(const __m256i (&values)[4], unsigned char* const* dst, int j) {
  const __m256i packed = pack_8u(values);
  const __m128i low = _mm256_castsi256_si128(packed);
  const __m128i high = _mm256_extracti128_si256(packed, 1);
  _mm_storel_epi64(reinterpret_cast<__m128i*>(dst[0] + j), low);
  _mm_storel_epi64(reinterpret_cast<__m128i*>(dst[1] + j), _mm_srli_si128(low, 8));
  _mm_storel_epi64(reinterpret_cast<__m128i*>(dst[2] + j), high);
  _mm_storel_epi64(reinterpret_cast<__m128i*>(dst[3] + j), _mm_srli_si128(high, 8));
}

void store_rows(const __m256i (&values)[4], unsigned short* const* dst, int j) {
  for (int half = 0; half < 2; ++half) {
    const __m256i packed = pack_16u(values[2 * half], values[2 * half + 1]);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst[2 * half] + j), _mm256_castsi256_si128(packed));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst[2 * half + 1] + j),
                     _mm256_extracti128_si256(packed, 1));
  }
}

// Four times eight values of one row.
void store_run(const __m256i (&values)[4], unsigned char* dst) {
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst), pack_8u(values));
}

void store_run(const __m256i (&values)[4], unsigned short* dst) {
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst), pack_16u(values[0], values[1]));
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + 2 * lanes), pack_16u(values[2], values[3]));
}

template <int taps, typename T>
void weigh_rows(const float* const* rows, const float* weights, T* dst, int len) {
  constexpr int run = 4 * lanes;
  int i = 0;
  for (; i + run <= len; i += run) {
    __m256i values[4];
    for (int part = 0; part < 4; ++part) {
      const int at = i + part * lanes;
      __m256 sum = _mm256_mul_ps(_mm256_loadu_ps(rows[0] + at), _mm256_set1_ps(weights[0]));
      for (int k = 1; k < taps; ++k) {
        const __m256 tap = _mm256_loadu_ps(rows[k] + at);
        sum = _mm256_add_ps(_mm256_mul_ps(tap, _mm256_set1_ps(weights[k])), sum);
      }
      values[part] = to_integers(sum, dst);
    }
    store_run(values, dst + i);
  }
  for (; i < len; ++i) {
    float sum = rows[0][i] * weights[0];
    for (int k = 1; k < taps; ++k) sum = rows[k][i] * weights[k] + sum;
    dst[i] = to_sample(sum, dst);
  }
}

// Eight columns: where their taps lie from the first column's on, and their weights.
template <int taps>
struct column_group {
  const unsigned int* index;
  unsigned int span;  // floats from the first tap of all to the last
  __m256i offset;
  __m256 weight[taps];

  column_group(const unsigned int* all, const float* const* weights, int j)
      : index(all + j), span(index[lanes - 1] - index[0] + taps) {
    const __m256i starts = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(index));
    offset = _mm256_sub_epi32(starts, _mm256_set1_epi32(static_cast<int>(index[0])));
    for (int k = 0; k < taps; ++k) weight[k] = _mm256_loadu_ps(weights[k] + j);
  }

  __m256i offset_of(int k) const { return _mm256_add_epi32(offset, _mm256_set1_epi32(k)); }
};

// The ways to get tap k of eight columns of a row, by how far they lie apart.
template <int taps>
struct window_8 {
  __m256 part;

  window_8(const column_group<taps>& group, const float* row)
      : part(_mm256_loadu_ps(row + group.index[0])) {}
  __m256 tap(const column_group<taps>& group, int k) const {
    return _mm256_permutevar8x32_ps(part, group.offset_of(k));
  }
};

template <int taps>
struct window_16 {
  __m256 low, high;

  window_16(const column_group<taps>& group, const float* row)
      : low(_mm256_loadu_ps(row + group.index[0])),
        high(_mm256_loadu_ps(row + group.index[0] + lanes)) {}
  __m256 tap(const column_group<taps>& group, int k) const {
    const __m256i offset = group.offset_of(k);
    const __m256 in_high = _mm256_castsi256_ps(_mm256_slli_epi32(offset, 28));  // by its bit 3
    return _mm256_blendv_ps(_mm256_permutevar8x32_ps(low, offset),
                            _mm256_permutevar8x32_ps(high, offset), in_high);
  }
};

// Column by column, transposed.
template <int taps>
struct anywhere {
  __m256 taken[4];

  anywhere(const column_group<taps>& group, const float* row) {
    const unsigned int* const index = group.index;
    const __m256 a = load_pair(row + index[0], row + index[4]);
    const __m256 b = load_pair(row + index[1], row + index[5]);
    const __m256 c = load_pair(row + index[2], row + index[6]);
    const __m256 d = load_pair(row + index[3], row + index[7]);
    const __m256 ab = _mm256_unpacklo_ps(a, b);
    const __m256 cd = _mm256_unpacklo_ps(c, d);
    const __m256 ab_high = _mm256_unpackhi_ps(a, b);
    const __m256 cd_high = _mm256_unpackhi_ps(c, d);
    taken[0] = _mm256_shuffle_ps(ab, cd, 0x44);
    taken[1] = _mm256_shuffle_ps(ab, cd, 0xEE);
    taken[2] = _mm256_shuffle_ps(ab_high, cd_high, 0x44);
    taken[3] = _mm256_shuffle_ps(ab_high, cd_high, 0xEE);
  }
  __m256 tap(const column_group<taps>&, int k) const { return taken[k]; }

  static __m256 load_pair(const float* low, const float* high) {
    return _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(low)), _mm_loadu_ps(high), 1);
  }
};

template <template <int> class Window, int taps, typename T>
void weigh_group(const column_group<taps>& group, const float* const* rows, T* const* dst, int j) {
  __m256i values[4];
  for (int r = 0; r < 4; ++r) {
    const Window<taps> window(group, rows[r]);
    __m256 sum = _mm256_mul_ps(window.tap(group, 0), group.weight[0]);
    for (int k = 1; k < taps; ++k) {
      sum = _mm256_add_ps(_mm256_mul_ps(window.tap(group, k), group.weight[k]), sum);
    }
    values[r] = to_integers(sum, dst[0]);
  }
  store_rows(values, dst, j);
}

template <int taps, typename T>
void weigh_columns(const float* const* rows, int row_count, const unsigned int* index,
                   const float* const* weights, T* const* dst, int len) {
  int j = 0;
  for (; row_count == 4 && j + lanes <= len; j += lanes) {
    const column_group<taps> group(index, weights, j);
    if (group.span <= lanes) {
      weigh_group<window_8>(group, rows, dst, j);
    } else if (group.span <= 2 * lanes) {
      weigh_group<window_16>(group, rows, dst, j);
    } else {
      weigh_group<anywhere>(group, rows, dst, j);
    }
  }
  for (; j < len; ++j) {
    for (int r = 0; r < row_count; ++r) {
      const float* const first = rows[r] + index[j];
      float sum = first[0] * weights[0][j];
      for (int k = 1; k < taps; ++k) sum = first[k] * weights[k][j] + sum;
      dst[r][j] = to_sample(sum, dst[0]);
    }
  }
}

template <typename T>
void weigh_rows_2_or_4(const float* const* rows, const float* weights, int taps, T* dst, int len) {
  if (taps == 2) {
    weigh_rows<2>(rows, weights, dst, len);
  } else {
    weigh_rows<4>(rows, weights, dst, len);
  }
}

template <typename T>
void weigh_columns_2_or_4(const float* const* rows, int row_count, const unsigned int* index,
                          const float* const* weights, int taps, T* const* dst, int len) {
  if (taps == 2) {
    weigh_columns<2>(rows, row_count, index, weights, dst, len);
  } else {
    weigh_columns<4>(rows, row_count, index, weights, dst, len);
  }
}

// Sixteen indices as bytes, counted from the first one; they lie within sixteen.
__m128i byte_offsets(const unsigned int* index) {
  const __m256i base = _mm256_set1_epi32(static_cast<int>(index[0]));
  const auto* const from = reinterpret_cast<const __m256i*>(index);
  const __m256i low = _mm256_sub_epi32(_mm256_loadu_si256(from), base);
  const __m256i high = _mm256_sub_epi32(_mm256_loadu_si256(from + 1), base);
  const __m256i words = _mm256_permute4x64_epi64(_mm256_packs_epi32(low, high), 0xD8);
  return _mm_packus_epi16(_mm256_castsi256_si128(words), _mm256_extracti128_si256(words, 1));
}

void pick_columns_8u(const unsigned char* src, const unsigned int* index, unsigned char* dst,
                     int len) {
  constexpr int group = 16;
  const unsigned int end = index[len - 1] + 1;  // what lies behind is not ours to read
  int j = 0;
  for (; j + group <= len; j += group) {
    if (index[j + group - 1] - index[j] < group && index[j] + group <= end) {
      const __m128i window = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + index[j]));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + j),
                       _mm_shuffle_epi8(window, byte_offsets(index + j)));
    } else {
      for (int i = j; i < j + group; ++i) dst[i] = src[index[i]];
    }
  }
  for (; j < len; ++j) dst[j] = src[index[j]];
}

void pick_columns_16u(const unsigned short* src, const unsigned int* index, unsigned short* dst,
                      int len) {
  for (int j = 0; j < len; ++j) dst[j] = src[index[j]];
}

}  // namespace

namespace ns_signal {

extern const scaling_kernels avx2_scaling_kernels = {weigh_rows_2_or_4<unsigned char>,
                                                     weigh_rows_2_or_4<unsigned short>,
                                                     weigh_columns_2_or_4<unsigned char>,
                                                     weigh_columns_2_or_4<unsigned short>,
                                                     pick_columns_8u,
                                                     pick_columns_16u};

}  // namespace ns_signal
