#include "host/cmhost/module.h"

#include <dlfcn.h>

#include <filesystem>

#include "host/cm/filter_configuration.h"
#include "host/cmhost/failure.h"
#include "host/cmhost/picture_layout.h"

namespace cmhost {

namespace {

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

// A name without a slash would be looked for in the system's library folders.
Module::Module(const std::string& path) : path_(std::filesystem::absolute(path).string()) {
  const std::string& file = path_;
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

void Module::configure(const ConfigurationKeys& keys) {
  const auto configuration = cm::FilterConfiguration::create();
  for (const auto& [key, value] : keys) configuration->setFourCC(key, value);
  try {
    const QOR::Result result = filter_->configure(*configuration);
    if (result != 0)
      throw Failure("the module refuses to be configured: result " + std::to_string(result));
  } catch (const Failure&) {
    throw;
  } catch (const std::exception& exception) {
    // Told in words: the exception itself must not outlive the module it came from.
    throw Failure(std::string("the module cannot be configured: ") + exception.what());
  } catch (...) {
    throw Failure("the module cannot be configured: an exception of an unknown kind");
  }
}

std::string defaultModulePath(const std::string& self) {
  namespace fs = std::filesystem;
  std::error_code error;
  const fs::path program = fs::read_symlink(self, error);
  if (error || !program.is_absolute())
    throw Failure(
        "where this program lies is not known, and so not where its module does: " + self + ": " +
        (error ? error.message() : "no absolute path") + "; --module names the module");
  const fs::path folder = program.parent_path();
  const fs::path built = folder / "../component/filter/video/static_watermark/static_watermark.so";
  if (fs::exists(built, error)) return built.lexically_normal().string();
  return (folder / ".." / CM_INSTALL_LIBDIR / "cmhost/static_watermark.so")
      .lexically_normal()
      .string();
}

}  // namespace cmhost
