#pragma once

#include <sys/resource.h>

#include <cstdint>

namespace cmhost {

/// During its lifetime, the process can allocate only about `bytes` of additional memory; larger
/// allocations fail. Has no effect where the system does not support it.
class MemoryCap {
 public:
  explicit MemoryCap(std::int64_t bytes);
  ~MemoryCap();
  MemoryCap(const MemoryCap&) = delete;
  MemoryCap& operator=(const MemoryCap&) = delete;

 private:
  bool capped_ = false;
  rlimit before_ = {};
};

}  // namespace cmhost
