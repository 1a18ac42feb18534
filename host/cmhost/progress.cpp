#include "host/cmhost/progress.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace cmhost {

Progress::Progress(std::int64_t expected)
    : expected_(expected), onTerminal_(::isatty(STDERR_FILENO) != 0), start_(Clock::now()) {}

double Progress::seconds() const {
  return std::chrono::duration<double>(Clock::now() - start_).count();
}

void Progress::show(std::int64_t frames) {
  if (!onTerminal_) return;
  const double rate = static_cast<double>(frames) / std::max(seconds(), 1e-3);
  char percent[64] = "";
  if (expected_ > 0) {
    const std::int64_t done = std::min<std::int64_t>(frames * 100 / expected_, 100);
    std::snprintf(percent, sizeof percent, " of %lld (%lld%%)", static_cast<long long>(expected_),
                  static_cast<long long>(done));
  }
  std::fprintf(stderr, "\r\x1b[Kframe %lld%s, %.1f fps", static_cast<long long>(frames), percent,
               rate);
}

void Progress::clear() {
  if (onTerminal_) std::fputs("\r\x1b[K", stderr);
}

}  // namespace cmhost
