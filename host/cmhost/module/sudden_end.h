#pragma once

#include <string>

/// Ends of the process that the program did not choose, as a module may bring them about: `exit`,
/// an exception that nobody catches, a crash, a call that does not return. Each is told in one line
/// that names the module, and the temporary files are removed.
namespace cmhost::sudden_end {

/// Watches for these ends from now on. `exit` counts as one only while a module is loaded. It and
/// an uncaught exception then give exit code 1; after a crash the signal ends the process as usual.
/// An overflow of a thread's stack is told where the thread has a `SignalStack`.
void install();

/// A module is in the process while this lives. One at a time.
class ModulePresence {
 public:
  explicit ModulePresence(const std::string& path);
  ~ModulePresence();
  ModulePresence(const ModulePresence&) = delete;
  ModulePresence& operator=(const ModulePresence&) = delete;
};

/// A module's library could not be unloaded. `exit` would run its destructors, which nothing
/// watches any more: `finish` is to do without.
void avoidExit();

/// Ends the program with `code`, which is returned to be returned from `main` if nothing of a
/// module would run then.
int finish(int code);

/// This thread is in the module while this lives. `during` completes a message, as "in its
/// factory"; it is kept by address.
class ModuleCall {
 public:
  explicit ModuleCall(const char* during);
  ~ModuleCall();
  ModuleCall(const ModuleCall&) = delete;
  ModuleCall& operator=(const ModuleCall&) = delete;
};

/// Ends the process with exit code 1 and the line "MODULE: the module `what` `during`: `detail`".
/// Allocates nothing, since a thread that hangs may hold any lock.
[[noreturn]] void leave(const char* during, const char* what, const char* detail);

}  // namespace cmhost::sudden_end
