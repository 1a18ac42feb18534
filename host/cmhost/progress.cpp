#include "host/cmhost/progress.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>

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

namespace {

using Json = nlohmann::ordered_json;

Json objectOf(const ProgressLine& line) {
  const double elapsed = std::max(line.elapsed, 1e-3);
  Json object = {{"event", line.event}, {"input", line.input}, {"frame", line.frames}};
  if (line.expected > 0) object["frames_expected"] = line.expected;
  object["time"] = line.seconds;
  object["elapsed"] = line.elapsed;
  object["fps"] = static_cast<double>(line.frames) / elapsed;
  object["speed"] = line.seconds / elapsed;
  object["damage"] = line.damage;
  if (line.late >= 0) object["late"] = line.late;
  return object;
}

// One write per line, so that lines of several threads and processes do not mix.
void print(const Json& object) {
  const std::string line = object.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
  std::fwrite(line.data(), 1, line.size(), stderr);
}

bool isShown(const Options& options, bool onTerminal) {
  if (options.progress == ProgressMode::json) return true;
  if (options.quiet) return false;
  return options.progress == ProgressMode::always ||
         (options.progress == ProgressMode::automatic && onTerminal);
}

}  // namespace

void printProgressLine(const ProgressLine& line) { print(objectOf(line)); }

void printProgressLine(const ProgressLine& line, const ProgressEnd& end) {
  Json object = objectOf(line);
  object["status"] = end.status;
  if (!end.error.empty()) object["error"] = end.error;
  print(object);
}

Progress::Progress(const Options& options, std::int64_t expected)
    : input_(options.input),
      expected_(expected),
      asJson_(options.progress == ProgressMode::json),
      onTerminal_(::isatty(STDERR_FILENO) != 0 && !asJson_),
      shown_(isShown(options, onTerminal_)),
      start_(Clock::now()) {}

double Progress::seconds() const {
  return std::chrono::duration<double>(Clock::now() - start_).count();
}

void Progress::show(const State& state) {
  if (!shown_) return;
  const double now = seconds();
  if (!onTerminal_ && now < nextLine_ && (asJson_ || state.frames != expected_)) return;
  while (nextLine_ <= now) nextLine_ += 1;
  if (asJson_) {
    printProgressLine({"progress", input_, state.frames, expected_, state.seconds, now,
                       state.damage, state.late});
    return;
  }
  const std::string text = progressText(state.frames, expected_, now);
  const std::string line = onTerminal_ ? "\r\x1b[K" + text : "cmhost: " + text + "\n";
  std::fwrite(line.data(), 1, line.size(), stderr);
}

void Progress::clear() {
  if (shown_ && onTerminal_) std::fputs("\r\x1b[K", stderr);
}

}  // namespace cmhost
