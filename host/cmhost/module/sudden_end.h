#pragma once

#include <string>

/// Handles unexpected ends of the process that a module may cause: `exit`, an uncaught exception, a
/// crash, a call that does not return. Each is reported in one line with the path of the module,
/// and the temporary files are removed.
namespace cmhost::sudden_end {

/// Installs the handlers. `exit` is unexpected only while a module is loaded. It and an uncaught
/// exception then give exit code 1; after a crash, the signal ends the process as usual. A stack
/// overflow is reported if the thread has a `SignalStack`.
void install();

/// Exists while a module is loaded. Only one at a time.
class ModulePresence {
 public:
  explicit ModulePresence(const std::string& path);
  ~ModulePresence();
  ModulePresence(const ModulePresence&) = delete;
  ModulePresence& operator=(const ModulePresence&) = delete;
};

/// Call it if a module's library could not be unloaded. `exit` would run its destructors unguarded;
/// `finish` then does not call `exit`.
void avoidExit();

/// Returns `code` for `main` to return, or ends the process with `code` at once if `avoidExit` was
/// called.
int finish(int code);

/// Exists while this thread executes code of the module. `during` completes messages, for example
/// "in its factory"; only the pointer is stored.
class ModuleCall {
 public:
  explicit ModuleCall(const char* during);
  ~ModuleCall();
  ModuleCall(const ModuleCall&) = delete;
  ModuleCall& operator=(const ModuleCall&) = delete;
};

/// Ends the process with exit code 1 and the line "MODULE: the module `what` `during`: `detail`".
/// Does not allocate memory, because a hung thread may hold any lock.
[[noreturn]] void leave(const char* during, const char* what, const char* detail);

}  // namespace cmhost::sudden_end
