#include <cstdint>
#include <cstdlib>

#include "signal/vector_primitives.h"

void* (*i_malloc)(size_t size) = std::malloc;
void (*i_free)(void* block) = std::free;

namespace {

constexpr std::size_t alignment = 32;

}  // namespace

// The block starts at the last multiple of 32 that leaves room for its length within the requested
// memory; the raw address is stored before it.
void* ippMalloc(int length) {
  constexpr std::size_t surplus = alignment + sizeof(void*);
  if (length < 0) {
    return nullptr;
  }
  void* const raw = i_malloc(static_cast<std::size_t>(length) + surplus);
  if (raw == nullptr) {
    return nullptr;
  }
  const std::size_t misalignment =
      (reinterpret_cast<std::uintptr_t>(raw) + surplus - 1) % alignment;
  char* const aligned = static_cast<char*>(raw) + (surplus - 1 - misalignment);
  reinterpret_cast<void**>(aligned)[-1] = raw;  // NOLINT(*-cast-align)
  return aligned;
}

void ippFree(void* block) {
  if (block != nullptr) {
    i_free(static_cast<void**>(block)[-1]);
  }
}

unsigned char* ippsMalloc_8u(int len) {
  return len < 1 ? nullptr : static_cast<unsigned char*>(ippMalloc(len));
}

void ippsFree(void* block) { ippFree(block); }
