#pragma once

#include <sys/resource.h>

#include <cstdint>

namespace cmhost {

/// While it lives, this process gets no more than about `bytes` of memory in addition to what it
/// has: what wants more fails for lack of memory. Not where the system cannot do that.
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
