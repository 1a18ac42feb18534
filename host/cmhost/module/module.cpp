#include "host/cmhost/module/module.h"

#include <dlfcn.h>

#include <cstdint>
#include <filesystem>
#include <optional>

#include "host/cm/filter_configuration.h"
#include "host/cmhost/picture/picture_layout.h"
#include "host/cmhost/support/failure.h"

namespace cmhost {

namespace {

using Factory = QOR::CM::RComponent* (*)();

#if defined(__SANITIZE_ADDRESS__)
// A leak report can show function names only while the library is loaded.
constexpr int loadFlags = RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE;
#else
constexpr int loadFlags = RTLD_NOW | RTLD_LOCAL;
#endif

constexpr ModuleGuard::Stage loading = {"cannot load the module", "while being loaded"};
constexpr ModuleGuard::Stage making = {"the factory failed", "in its factory"};
constexpr ModuleGuard::Stage typing = {"the module failed", "in type()"};
constexpr ModuleGuard::Stage configuring = {"cannot configure the module",
                                            "while being configured"};
constexpr ModuleGuard::Stage looping = {"the module failed", "in its loop"};
constexpr ModuleGuard::Stage destroying = {"the module failed", "while being destroyed"};
constexpr ModuleGuard::Stage unloading = {"the module failed", "while being unloaded"};

std::string loaderReason() {
  const char* const reason = ::dlerror();
  return reason != nullptr ? reason : "the loader gave no reason";
}

}  // namespace

void Module::Unload::operator()(void* library) const {
  guard->call(unloading, [&] { ::dlclose(library); });
  if (::dlopen(guard->path().c_str(), RTLD_NOW | RTLD_NOLOAD) != nullptr) sudden_end::avoidExit();
}

void Module::Destroy::operator()(QOR::CM::RComponent* component) const {
  guard->call(destroying, [&] { delete component; });
}

// dlopen would search for a name without a slash in the system's library folders.
Module::Module(const std::string& path, int timeout)
    : guard_(std::filesystem::absolute(path).string(), timeout),
      library_(nullptr, {&guard_}),
      component_(nullptr, {&guard_}) {
  const char* const file = guard_.path().c_str();
  guard_.call(loading, [&] { library_.reset(::dlopen(file, loadFlags)); });
  if (library_ == nullptr)
    throw Failure("cannot load the module: " + loaderReason() + "; choose another with --module");

  const auto factory = reinterpret_cast<Factory>(::dlsym(library_.get(), factoryName));
  if (factory == nullptr)
    throw Failure(guard_.path() + ": not a filter module: " + loaderReason() +
                  "; choose another with --module");
  guard_.call(making, [&] { component_.reset(factory()); });
  if (component_ == nullptr) fail("the factory returned no component");
  guard_.call(typing, [&] {
    filter_ = dynamic_cast<QOR::CM::RFilter*>(component_.get());
    type_ = component_->type();
  });
  if (filter_ == nullptr) fail("the component is not a filter (type '" + fourccText(type_) + "')");
}

void Module::connect(const QOR::RPtr<cm::InputQueue>& input,
                     const QOR::RPtr<cm::OutputQueue>& output) {
  input_ = input;
  output_ = output;
  gate_ = FrameGate::create(output);
  filter_->addInputReader(input_);
  filter_->addOutputWriter(gate_);
}

void Module::configure(const ConfigurationKeys& keys) {
  const auto configuration = cm::FilterConfiguration::create();
  for (const auto& [key, value] : keys) configuration->setFourCC(key, value);
  QOR::Result result = 0;
  guard_.call(configuring, [&] { result = filter_->configure(*configuration); });
  if (result != 0) fail("the module rejected its configuration: result " + std::to_string(result));
  if (gate_->refusedFrames()) fail("the module returned frames while being configured");
}

void Module::runLoop() {
  auto& taken = input_->frames();
  auto& put = output_->frames();
  const auto activity = [&]() -> std::optional<std::uint64_t> {
    if (taken.isWaitedForItems() || put.isWaitedForRoom()) return std::nullopt;
    return taken.handled() + put.handled();
  };
  std::string reason;
  const auto context = cm::LoopContext::create(input_, [&](const QOR::CException& exception) {
    reason = *exception.message() != '\0' ? exception.message() : "no reason given";
  });
  gate_->open();
  try {
    guard_.call(
        looping, [&] { filter_->threadrunloop(context.get()); }, activity);
  } catch (const Failure&) {
    if (reason.empty()) throw;  // otherwise the component failed while handling its first exception
  }
  gate_->close();
  if (!reason.empty()) fail("the module failed: " + reason);
  if (taken.waitForItem()) fail("the module left its loop before the end of the video");
  put.finish();
}

void Module::unload() {
  component_.reset();
  const bool gaveMore = gate_->refusedFrames();
  gate_ = nullptr;
  output_ = nullptr;
  input_ = nullptr;
  library_.reset();
  if (gaveMore) fail("the module returned frames after its loop had ended");
}

std::string defaultModulePath(const std::string& self) {
  namespace fs = std::filesystem;
  std::error_code error;
  const fs::path program = fs::read_symlink(self, error);
  if (error || !program.is_absolute())
    throw Failure("cannot locate the default module: " + self + ": " +
                  (error ? error.message() : "not an absolute path") +
                  "; choose a module with --module");
  const fs::path folder = program.parent_path();
  const fs::path built = folder / "../component/filter/video/static_watermark/static_watermark.so";
  if (fs::exists(built, error)) return built.lexically_normal().string();
  return (folder / ".." / CM_INSTALL_LIBDIR / "cmhost/static_watermark.so")
      .lexically_normal()
      .string();
}

}  // namespace cmhost
