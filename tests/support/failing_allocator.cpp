#include "tests/support/failing_allocator.h"

#include <atomic>
#include <cstdlib>

namespace test_support {
namespace {

std::atomic<std::size_t> live{0};

// Number of allocations before the one that fails; negative if none will.
std::atomic<std::int64_t> remaining{-1};

void* allocate(std::size_t size) noexcept {
  if (remaining.fetch_sub(1) == 0) return nullptr;
  void* const block = std::malloc(size == 0 ? 1 : size);
  if (block != nullptr) ++live;
  return block;
}

void* allocate_or_throw(std::size_t size) {
  void* const block = allocate(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void give_back(void* block) noexcept {
  if (block == nullptr) return;
  --live;
  std::free(block);
}

}  // namespace

std::size_t live_blocks() { return live; }

failing_allocation::failing_allocation(std::size_t index) {
  remaining = static_cast<std::int64_t>(index);
}

failing_allocation::~failing_allocation() { remaining = -1; }

bool failing_allocation::happened() const { return remaining < 0; }

}  // namespace test_support

using test_support::allocate;
using test_support::allocate_or_throw;
using test_support::give_back;

void* operator new(std::size_t size) { return allocate_or_throw(size); }
void* operator new[](std::size_t size) { return allocate_or_throw(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void operator delete(void* block) noexcept { give_back(block); }
void operator delete[](void* block) noexcept { give_back(block); }
void operator delete(void* block, std::size_t) noexcept { give_back(block); }
void operator delete[](void* block, std::size_t) noexcept { give_back(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { give_back(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { give_back(block); }
