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

/// The configuration key for the layout of the frames.
constexpr const char* layoutKey = "system_informat";

/// A filter module: the loaded library and the component created by its factory. Every failure
/// message contains the path of the module.
class Module {
 public:
  /// The exported function that creates the component.
  static constexpr const char* factoryName = "getComponentInstance";

  /// Loads `path` and calls its factory. A call into the module that hangs for `timeout` seconds
  /// ends the process; 0 means no limit. Throws `Failure` with the reason from the loader.
  Module(const std::string& path, int timeout);

  /// The path it was loaded from.
  const std::string& path() const { return guard_.path(); }

  /// The component's type, a FourCC.
  unsigned int type() const { return type_; }

  /// Connects the component to its queues. Call it once, before `configure`.
  void connect(const QOR::RPtr<cm::InputQueue>& input, const QOR::RPtr<cm::OutputQueue>& output);

  /// Configures the component. Throws `Failure` with the component's message if it rejects the
  /// configuration.
  void configure(const ConfigurationKeys& keys);

  /// Runs the component's loop until the input ends, then finishes the output. Throws `Failure`
  /// when the loop fails, throws an exception or ends before its input.
  void runLoop();

  /// Destroys the component and unloads the library. Do not use this object afterwards. All objects
  /// created by the module (frames and the description on its queues) must have been destroyed.
  /// Throws `Failure` when the component returned frames after its loop.
  void unload();

  /// Throws `Failure` with the path of the module and `what`.
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

/// The absolute path of the module that was built or installed with this program. `self` is the
/// system's link to the program. Throws `Failure` when the link cannot be read, for example because
/// /proc is not mounted.
std::string defaultModulePath(const std::string& self = "/proc/self/exe");

}  // namespace cmhost
