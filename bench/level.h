#pragma once

#include <string>

/// The processor level of the benchmarks: the one chosen at start-up, or a lower one.
namespace ns_bench {

/// Requests a level by its name: "portable", "sse2", "ssse3", "sse41", "avx2", "avx512". False if
/// the name is unknown or the machine lacks the level.
bool force_level(const std::string& name);

/// Whether a level has been requested.
bool is_level_forced();

/// Activates the level. Must be called after each call of `ippStaticInit`, and so after each
/// creation of a resizer.
void apply_level();

/// The name of the level that `apply_level` activates.
std::string level_name();

}  // namespace ns_bench
