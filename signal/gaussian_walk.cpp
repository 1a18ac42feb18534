#include <omp.h>
#include <pthread.h>

#include <algorithm>
#include <climits>
#include <cstdint>

#include "signal/processor_variant.h"
#include "signal/shared_word.h"
#include "signal/variant.h"
#include "signal/vector_primitives.h"

namespace ns_signal {
namespace {

constexpr int status_ok = 0;
constexpr int status_no_memory = -9;

constexpr int profile_count = 3;
constexpr int source_rows_5x5 = 5;

// One row of samples and, with the 3x3 mask, one more sample at both ends.
constexpr std::int64_t scratch_stride(std::int64_t width) {
  const std::int64_t blocks = (width + 2 + profile_granularity - 1) / profile_granularity;
  return blocks * profile_granularity;
}

constexpr std::int64_t scratch_samples(std::int64_t width, gaussian_mask mask) {
  const int rows = mask == gaussian_mask::three ? 1 : source_rows_5x5 * profile_count;
  return rows * scratch_stride(width);
}

// The profiles of the five source rows around the output row are kept in a rolling set.
void filter_5x5(const gaussian_rows& rows, const gaussian_region& region, unsigned short* scratch) {
  const std::int64_t stride = scratch_stride(region.width);
  row_profiles ring[source_rows_5x5];
  for (row_profiles& profiles : ring) {
    profiles = {scratch, scratch + stride, scratch + 2 * stride};
    scratch += profile_count * stride;
  }
  const unsigned char* next = region.src - 2 * region.src_step;
  for (int i = 0; i < source_rows_5x5 - 1; ++i, next += region.src_step) {
    rows.profiles_5x5_8u(next, ring[i], region.width);
  }
  for (std::ptrdiff_t y = 0; y < region.height; ++y, next += region.src_step) {
    rows.profiles_5x5_8u(next, ring[source_rows_5x5 - 1], region.width);
    rows.combine_5x5_8u(ring, region.dst + y * region.dst_step, region.width);
    std::rotate(ring, ring + 1, ring + source_rows_5x5);
  }
}

void filter(const gaussian_rows& rows, const gaussian_region& region, gaussian_mask mask,
            unsigned short* scratch) {
  if (region.height == 0) {
    return;
  }
  if (mask == gaussian_mask::three) {
    rows.filter_3x3_8u(region, scratch);
  } else {
    filter_5x5(rows, region, scratch);
  }
}

gaussian_region band_of(const gaussian_region& region, std::ptrdiff_t first, std::ptrdiff_t count) {
  gaussian_region band = region;
  band.src += first * region.src_step;
  band.dst += first * region.dst_step;
  band.height = count;
  return band;
}

// Scratch for `threads` threads, or null.
unsigned short* allocate_scratch(std::int64_t samples, int threads) {
  constexpr int sample_bytes = sizeof(unsigned short);
  if (samples > INT_MAX / sample_bytes / threads) {
    return nullptr;
  }
  void* const block = ippsMalloc_8u(static_cast<int>(samples) * threads * sample_bytes);
  return static_cast<unsigned short*>(block);
}

bool worth_a_team(const gaussian_region& region, gaussian_mask mask) {
  constexpr std::ptrdiff_t fewest_rows_3x3 = 256;
  return mask == gaussian_mask::five || region.height >= fewest_rows_3x3;
}

// A child of `fork` has the memory of its parent's OpenMP runtime but none of its threads, and the
// runtime could wait for them forever.
bool team_used = false;
bool team_lost = false;

void lose_team() { team_lost = load_shared(team_used); }

const bool forks_are_seen = pthread_atfork(nullptr, nullptr, lose_team) == 0;

bool may_use_team() { return forks_are_seen && !team_lost; }

}  // namespace

int walk_in_bands(const gaussian_rows& rows, const gaussian_region& region, gaussian_mask mask) {
  const bool wants_team = worth_a_team(region, mask) && may_use_team();
  const int threads = wants_team ? std::max(ownGetNumThreads(), 1) : 1;
  const std::int64_t samples = scratch_samples(region.width, mask);
  unsigned short* const scratch = allocate_scratch(samples, threads);
  if (scratch == nullptr) {
    return status_no_memory;
  }
  if (threads == 1) {
    filter(rows, region, mask, scratch);
  } else {
    store_shared(team_used, true);
    // The setting may have changed since the scratch was allocated.
    // NOLINTNEXTLINE(clang-analyzer-deadcode.DeadStores): the pragma reads it
    const int team = std::max(std::min(threads, ownGetNumThreads()), 1);
    std::ptrdiff_t band = 0;
    std::ptrdiff_t remainder = 0;
#pragma omp parallel num_threads(team)
    {
#pragma omp master
      {
        // The runtime may provide fewer threads than requested.
        const int members = omp_get_num_threads();
        band = region.height / members;
        remainder = region.height % members;
      }
#pragma omp barrier
      const int thread = omp_get_thread_num();
      const bool last = thread == omp_get_num_threads() - 1;
      filter(rows, band_of(region, thread * band, band + (last ? remainder : 0)), mask,
             scratch + thread * samples);
    }
  }
  ippsFree(scratch);
  return status_ok;
}

// The tiles are wide enough that the two columns read twice between them do not matter, and narrow
// enough for the rolling set to stay in the first-level cache.
int walk_in_tiles(const gaussian_rows& rows, const gaussian_region& region, gaussian_mask mask) {
  constexpr std::ptrdiff_t tile_width = 512;
  alignas(64) unsigned short scratch[scratch_samples(tile_width, gaussian_mask::five)];
  for (std::ptrdiff_t x = 0; x < region.width; x += tile_width) {
    gaussian_region tile = region;
    tile.src += x;
    tile.dst += x;
    tile.width = std::min(tile_width, region.width - x);
    filter(rows, tile, mask, scratch);
  }
  return status_ok;
}

}  // namespace ns_signal
