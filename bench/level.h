#pragma once

#include <string>

/// The processor level that the benchmarks run at: the one that start-up chooses, or an older one.
namespace ns_bench {

/// Asks for a level by its name: "portable", "sse2", "ssse3", "sse41", "avx2", "avx512". False when
/// there is no such level or the machine lacks it.
bool force_level(const std::string& name);

/// Whether `force_level` has been asked for one.
bool is_level_forced();

/// Puts the level in force. To be called after whatever calls `ippStaticInit`, which is every
/// creation of a resizer.
void apply_level();

/// The name of the level that `apply_level` puts in force.
std::string level_name();

}  // namespace ns_bench
