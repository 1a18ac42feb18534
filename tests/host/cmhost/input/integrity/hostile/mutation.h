#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace hostile {

/// A damaged file.
struct Mutated {
  std::string bytes;
  std::string what;     ///< description of the damage, for messages
  std::size_t end = 0;  ///< of the difference, as an offset in the undamaged file
  bool isCut = false;   ///< only the end is missing
};

/// Damages a file in a way that depends only on `seed`: flips bits, overwrites, removes, repeats or
/// exchanges bytes, or truncates the file.
Mutated mutated(const std::string& bytes, std::uint32_t seed);

}  // namespace hostile
