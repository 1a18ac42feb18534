#pragma once

#include <cstddef>
#include <cstring>

namespace test_support {

/// The slot of a virtual function in its class's first table. By the platform's C++ ABI, a pointer
/// to a virtual member function contains one plus the offset of its slot.
template <typename Function>
std::size_t virtual_slot(Function function) {
  std::size_t words[2];
  static_assert(sizeof function == sizeof words);
  std::memcpy(words, &function, sizeof words);
  return (words[0] - 1) / sizeof(void*);
}

}  // namespace test_support
