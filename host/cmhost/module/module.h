#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/cm/frame_queue.h"
#include "host/cm/loop_context.h"
#include "host/cmhost/module/frame_gate.h"
#include "host/cmhost/module/module_guard.h"
#include "lib/cm/CMComponent.h"

namespace cmhost {

using ConfigurationKeys = std::vector<std::pair<std::string, unsigned int>>;

/// The key under which a module finds the layout of its frames.
constexpr const char* layoutKey = "system_informat";

/// A filter module: the loaded library and the one component made by its factory. Every failure
/// names the module by its path.
class Module {
 public:
  /// The exported function that makes the component.
  static constexpr const char* factoryName = "getComponentInstance";

  /// Loads `path` and calls its factory. A call into the module that hangs for `timeout` seconds
  /// ends the process; 0 lets it. Throws `Failure` with the loader's own reason.
  Module(const std::string& path, int timeout);

  /// Where it was loaded from.
  const std::string& path() const { return guard_.path(); }

  /// FourCC of the kind of component.
  unsigned int type() const { return type_; }

  /// Gives the component its queues. Once, before `configure`.
  void connect(const QOR::RPtr<cm::InputQueue>& input, const QOR::RPtr<cm::OutputQueue>& output);

  /// Configures the component with FourCCs by key. Throws `Failure` with the component's own
  /// message when it declines.
  void configure(const ConfigurationKeys& keys);

  /// Runs the component's loop until the input ends. Throws `Failure` when the loop fails, when it
  /// ends before its input, and when an exception left it. Then finishes the output.
  void runLoop();

  /// Destroys the component and unloads the library; this object is good for nothing then. What the
  /// module may have made (frames and a description on its queues) must be gone. Throws `Failure`
  /// when the component gave frames after its loop.
  void unload();

  /// Throws `Failure` about the module: its path and what it did.
  [[noreturn]] void fail(const std::string& what) const { guard_.fail(what); }

 private:
  struct Unload {
    ModuleGuard* guard;
    void operator()(void* library) const;
  };
  struct Destroy {
    ModuleGuard* guard;
    void operator()(QOR::CM::RComponent* component) const;
  };

  ModuleGuard guard_;
  std::unique_ptr<void, Unload> library_;
  std::unique_ptr<QOR::CM::RComponent, Destroy> component_;
  QOR::CM::RFilter* filter_ = nullptr;
  unsigned int type_ = 0;
  QOR::RPtr<cm::InputQueue> input_;
  QOR::RPtr<cm::OutputQueue> output_;
  QOR::RPtr<FrameGate> gate_;
};

/// Where the module lies that was built or installed together with this program, which the system's
/// link `self` leads to: an absolute path. Throws `Failure` when the link cannot be read, as where
/// /proc is not mounted.
std::string defaultModulePath(const std::string& self = "/proc/self/exe");

}  // namespace cmhost
