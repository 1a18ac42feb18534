#include "host/cmhost/module.h"

#include <dlfcn.h>

#include <filesystem>

#include "host/cmhost/failure.h"
#include "host/cmhost/picture_layout.h"

namespace cmhost {

namespace {

constexpr const char* factoryName = "getComponentInstance";
using Factory = QOR::CM::RComponent* (*)();

#if defined(__SANITIZE_ADDRESS__)
// A leak report can name functions only while their library is mapped.
constexpr int loadFlags = RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE;
#else
constexpr int loadFlags = RTLD_NOW | RTLD_LOCAL;
#endif

std::string loaderReason() {
  const char* const reason = ::dlerror();
  return reason != nullptr ? reason : "the loader gives no reason";
}

}  // namespace

void Module::Unload::operator()(void* library) const { ::dlclose(library); }

Module::Module(const std::string& path) {
  // A name without a slash would be looked for in the system's library folders.
  const std::string file = std::filesystem::absolute(path).string();
  library_.reset(::dlopen(file.c_str(), loadFlags));
  if (library_ == nullptr)
    throw Failure("the module cannot be loaded: " + loaderReason() + "; --module names another");

  const auto factory = reinterpret_cast<Factory>(::dlsym(library_.get(), factoryName));
  if (factory == nullptr)
    throw Failure(file + " is no filter module: " + loaderReason() + "; --module names another");
  try {
    component_.reset(factory());
  } catch (const std::exception& exception) {
    throw Failure(file + ": its factory failed: " + exception.what());
  } catch (...) {
    throw Failure(file + ": its factory failed with an exception of an unknown kind");
  }
  if (component_ == nullptr) throw Failure(file + ": its factory returned no component");
  filter_ = dynamic_cast<QOR::CM::RFilter*>(component_.get());
  if (filter_ == nullptr)
    throw Failure(file + ": its component is no filter but of type '" +
                  fourccText(component_->type()) + "'");
}

std::string defaultModulePath() {
  namespace fs = std::filesystem;
  std::error_code ignored;
  const fs::path folder = fs::read_symlink("/proc/self/exe", ignored).parent_path();
  const fs::path built = folder / "../component/filter/video/static_watermark/static_watermark.so";
  if (fs::exists(built, ignored)) return built.lexically_normal().string();
  return (folder / ".." / CM_INSTALL_LIBDIR / "cmhost/static_watermark.so")
      .lexically_normal()
      .string();
}

}  // namespace cmhost
