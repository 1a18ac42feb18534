#pragma once

extern "C" {
#include <libavutil/log.h>
}

#include <string>

namespace cmhost {

/// Captures the log of the media libraries: it is no longer printed, and the last error is kept.
void captureAvLog();

/// A line logged by the media libraries.
struct AvLogLine {
  int level = 0;  ///< AV_LOG_WARNING or worse, unless it is a detail
  AVClassCategory category = AV_CLASS_CATEGORY_NA;
  bool isDetail = false;  ///< one that `AvLogListener::isDetail` selects
  std::string text;       ///< with the name of the logging object in front, without a line end
};

/// Receives warnings and errors of the media libraries during its lifetime. Only one at a time.
class AvLogListener {
 public:
  AvLogListener();
  virtual ~AvLogListener();
  AvLogListener(const AvLogListener&) = delete;
  AvLogListener& operator=(const AvLogListener&) = delete;

  /// Selects lines of any level by their `printf` format. Called like `logged`.
  virtual bool isDetail(const char* format) const = 0;

  /// Called from any thread, one call at a time. Must not call the media libraries.
  virtual void logged(const AvLogLine& line) = 0;

 protected:
  /// Stops calls of both functions. For destructors.
  void stopListening();
};

/// Collects the errors that this thread's calls of the media libraries log during its lifetime.
/// They do not reach the listener. Only one at a time in a thread.
class AvErrorScope {
 public:
  AvErrorScope();
  ~AvErrorScope();
  AvErrorScope(const AvErrorScope&) = delete;
  AvErrorScope& operator=(const AvErrorScope&) = delete;

  /// The first error, usually the cause; empty when there is none.
  const std::string& first() const { return first_; }

  /// Called with each error.
  void add(const std::string& text);

 private:
  std::string first_;
};

/// Describes an error code of the media libraries, together with the last error that they logged,
/// which often names the cause. Clears that error.
std::string avErrorReason(int error);

/// The same for a codec that cannot be opened, often because a thread cannot be started.
std::string openErrorReason(int error);

}  // namespace cmhost
