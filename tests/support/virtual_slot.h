#pragma once

#include <cstddef>
#include <cstring>

namespace test_support {

/// The place of a virtual function in its class's first table. A pointer to a virtual member
/// function holds, by the platform's C++ ABI, one plus the offset of its slot.
template <typename Function>
std::size_t virtual_slot(Function function) {
  std::size_t words[2];
  static_assert(sizeof function == sizeof words);
  std::memcpy(words, &function, sizeof words);
  return (words[0] - 1) / sizeof(void*);
}

}  // namespace test_support
