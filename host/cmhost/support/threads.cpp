#include "host/cmhost/support/threads.h"

#include <algorithm>

namespace cmhost {

int threadsFor(std::int64_t bytes) {
  constexpr unsigned int mostByItself = 16;
  constexpr std::int64_t mostBytes = std::int64_t{1} << 30;
  const std::int64_t byItself = std::min(std::thread::hardware_concurrency() + 1, mostByItself);
  const std::int64_t most = bytes > 0 ? mostBytes / bytes : byItself;
  return most >= byItself ? 0 : static_cast<int>(std::max<std::int64_t>(most, 1));
}

int threadsFor(std::int64_t bytes, int wanted) {
  const int allowed = threadsFor(bytes);
  if (wanted == 0) return allowed;
  return allowed == 0 ? wanted : std::min(allowed, wanted);
}

}  // namespace cmhost
