#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>
#include <new>

/// `count` elements between two protected pages: the elements end exactly at the second page, or
/// begin exactly after the first.
template <class T>
class protected_buffer {
 public:
  enum class side { end, begin };

  explicit protected_buffer(std::size_t count, side at = side::end) : count_(count) {
    const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t bytes = count * sizeof(T);
    const std::size_t inner = (bytes + page - 1) / page * page;
    mapped_ = inner + 2 * page;
    base_ = mmap(nullptr, mapped_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (base_ == MAP_FAILED) {
      throw std::bad_alloc();
    }
    unsigned char* const first = static_cast<unsigned char*>(base_) + page;
    if (inner != 0 && mprotect(first, inner, PROT_READ | PROT_WRITE) != 0) {
      munmap(base_, mapped_);
      throw std::bad_alloc();
    }
    data_ = reinterpret_cast<T*>(at == side::end ? first + (inner - bytes) : first);
    fill(0);
  }
  ~protected_buffer() { munmap(base_, mapped_); }
  protected_buffer(const protected_buffer&) = delete;
  protected_buffer& operator=(const protected_buffer&) = delete;

  T* data() { return data_; }
  const T* data() const { return data_; }
  std::size_t size() const { return count_; }
  T& operator[](std::size_t i) { return data_[i]; }
  const T& operator[](std::size_t i) const { return data_[i]; }
  T* begin() { return data_; }
  T* end() { return data_ + count_; }

  void fill(int byte) {
    if (count_ != 0) {
      std::memset(static_cast<void*>(data_), byte, count_ * sizeof(T));
    }
  }

 private:
  std::size_t count_;
  std::size_t mapped_ = 0;
  void* base_ = nullptr;
  T* data_ = nullptr;
};
