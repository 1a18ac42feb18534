#include "host/cmhost/progress.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace cmhost {

std::string progressText(std::int64_t frames, std::int64_t expected, double seconds) {
  const double rate = static_cast<double>(frames) / std::max(seconds, 1e-3);
  char speed[64];
  std::snprintf(speed, sizeof speed, ", %.1f fps", rate);
  std::string text = "frame " + std::to_string(frames);
  if (expected <= 0) return text + speed;
  const std::int64_t percent = std::min<std::int64_t>(frames * 100 / expected, 100);
  text += " of " + std::to_string(expected) + " (" + std::to_string(percent) + "%)" + speed;
  if (frames <= 0) return text;
  const double left = static_cast<double>(std::max<std::int64_t>(expected - frames, 0)) / rate;
  const auto rounded = static_cast<long long>(std::ceil(std::min(left, 1e9)));
  char time[64];
  std::snprintf(time, sizeof time, ", %lld:%02lld:%02lld left", rounded / 3600, rounded / 60 % 60,
                rounded % 60);
  return text + time;
}

Progress::Progress(ProgressMode mode, std::int64_t expected)
    : expected_(expected),
      onTerminal_(::isatty(STDERR_FILENO) != 0),
      shown_(mode == ProgressMode::always || (mode == ProgressMode::automatic && onTerminal_)),
      start_(Clock::now()) {}

double Progress::seconds() const {
  return std::chrono::duration<double>(Clock::now() - start_).count();
}

void Progress::show(std::int64_t frames) {
  if (!shown_) return;
  const double now = seconds();
  if (!onTerminal_ && now < nextLine_ && frames != expected_) return;
  while (nextLine_ <= now) nextLine_ += 1;
  const std::string text = progressText(frames, expected_, now);
  const std::string line = onTerminal_ ? "\r\x1b[K" + text : "cmhost: " + text + "\n";
  std::fwrite(line.data(), 1, line.size(), stderr);
}

void Progress::clear() {
  if (shown_ && onTerminal_) std::fputs("\r\x1b[K", stderr);
}

}  // namespace cmhost
