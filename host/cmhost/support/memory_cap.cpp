#include "host/cmhost/support/memory_cap.h"

#include <unistd.h>

#include <cstdio>

namespace cmhost {

namespace {

// Size of the process's private writable memory, which RLIMIT_DATA limits; 0 when unknown.
rlim_t dataBytes() {
  std::FILE* const file = std::fopen("/proc/self/statm", "re");
  if (file == nullptr) return 0;
  unsigned long long pages = 0;
  const bool known = std::fscanf(file, "%*u %*u %*u %*u %*u %llu", &pages) == 1;
  std::fclose(file);
  return known ? pages * static_cast<rlim_t>(::sysconf(_SC_PAGESIZE)) : 0;
}

}  // namespace

MemoryCap::MemoryCap(std::int64_t bytes) {
  const rlim_t now = dataBytes();
  if (now == 0 || ::getrlimit(RLIMIT_DATA, &before_) != 0) return;
  rlimit cap = before_;
  cap.rlim_cur = now + static_cast<rlim_t>(bytes);
  if (cap.rlim_cur > before_.rlim_cur) return;
  capped_ = ::setrlimit(RLIMIT_DATA, &cap) == 0;
}

MemoryCap::~MemoryCap() {
  if (capped_) ::setrlimit(RLIMIT_DATA, &before_);
}

}  // namespace cmhost
