#include "tests/support/guarded_buffer.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <new>

namespace test_support {

namespace {

// Minimum number of guard values on the unprotected side; rounding up to a page adds more.
constexpr std::size_t least_guard = 256;

}  // namespace

guarded_buffer::guarded_buffer(std::size_t size, protected_edge edge, fill_pattern pattern)
    : size_(size), fill_(static_cast<unsigned char>(pattern)) {
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  accessible_size_ = (size + least_guard + page - 1) / page * page;
  mapped_ = accessible_size_ + 2 * page;
  void* mapping = mmap(nullptr, mapped_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (mapping == MAP_FAILED) throw std::bad_alloc();
  mapping_ = static_cast<unsigned char*>(mapping);
  accessible_ = mapping_ + page;
  if (mprotect(accessible_, accessible_size_, PROT_READ | PROT_WRITE) != 0) {
    munmap(mapping_, mapped_);
    throw std::bad_alloc();
  }
  std::fill_n(accessible_, accessible_size_, fill_);
  data_ = edge == protected_edge::begin ? accessible_ : accessible_ + accessible_size_ - size;
}

guarded_buffer::~guarded_buffer() { munmap(mapping_, mapped_); }

std::string guarded_buffer::damage() const {
  const unsigned char* const end = accessible_ + accessible_size_;
  for (const unsigned char* p = accessible_; p != end; ++p) {
    if (p == data_) p += size_;
    if (p == end) break;
    if (*p != fill_) return "guard value changed at byte " + std::to_string(p - data_);
  }
  return {};
}

}  // namespace test_support
