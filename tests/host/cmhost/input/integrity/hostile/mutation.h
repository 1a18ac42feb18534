#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace hostile {

/// A file with something wrong.
struct Mutated {
  std::string bytes;
  std::string what;     ///< what was done to it, for messages
  std::size_t end = 0;  ///< of what differs, in the undamaged file
  bool isCut = false;   ///< nothing but its end is missing
};

/// Damages a file in a way that follows from `seed` alone: bits flipped, bytes overwritten,
/// removed, repeated or exchanged, the end cut off.
Mutated mutated(const std::string& bytes, std::uint32_t seed);

}  // namespace hostile
