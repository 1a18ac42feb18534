#include "host/cmhost/inspect.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "host/cm/frame_queue.h"
#include "host/cm/video_description.h"
#include "host/cmhost/module/module.h"
#include "host/cmhost/picture/picture_layout.h"
#include "host/cmhost/support/failure.h"
#include "host/cmhost/support/file_io.h"
#include "host/cmhost/support/messages.h"

namespace cmhost {

namespace {

struct Configured {
  bool taken = false;
  std::string reason;  ///< why not
  std::vector<std::string> printed;
};

/// Captures standard output in memory during its lifetime.
class CaughtOutput {
 public:
  CaughtOutput() : memory_(::memfd_create("printed", MFD_CLOEXEC)) {
    std::fflush(stdout);
    output_ = FileDescriptor(::dup(STDOUT_FILENO));
    if (memory_.number() < 0 || output_.number() < 0 || ::dup2(memory_.number(), STDOUT_FILENO) < 0)
      throw Failure("cannot capture the module's standard output");
  }

  ~CaughtOutput() { restore(); }

  std::vector<std::string> lines() {
    restore();
    std::string text;
    char part[4096];
    ::lseek(memory_.number(), 0, SEEK_SET);
    for (ssize_t bytes; (bytes = ::read(memory_.number(), part, sizeof part)) > 0;)
      text.append(part, static_cast<std::size_t>(bytes));
    std::vector<std::string> result;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) result.push_back(line);
    return result;
  }

 private:
  void restore() {
    std::fflush(stdout);
    ::dup2(output_.number(), STDOUT_FILENO);
  }

  FileDescriptor memory_;
  FileDescriptor output_;
};

Configured configure(Module& module, const Options& options) {
  module.connect(cm::InputQueue::create(
                     cm::VideoDescription::create(static_cast<unsigned int>(options.inspectWidth),
                                                  static_cast<unsigned int>(options.inspectHeight)),
                     1),
                 cm::OutputQueue::create(1));
  ConfigurationKeys keys = {{layoutKey, options.inspectLayout}};
  keys.insert(keys.end(), options.keys.begin(), options.keys.end());
  Configured result;
  CaughtOutput caught;
  try {
    module.configure(keys);
    result.taken = true;
  } catch (const Failure& failure) {
    result.reason = failure.what();
  }
  result.printed = caught.lines();
  return result;
}

std::string hex(unsigned long long value) {
  char text[32];
  std::snprintf(text, sizeof text, "0x%llx", value);
  return text;
}

std::string sizeText(const Options& options) {
  return std::to_string(options.inspectWidth) + "x" + std::to_string(options.inspectHeight) + " " +
         fourccText(options.inspectLayout);
}

std::string asText(const Options& options, const Module& module, const Configured& configured) {
  std::ostringstream text;
  text << "module:      " << escaped(module.path()) << '\n'
       << "factory:     " << Module::factoryName << '\n'
       << "component:   type '" << escaped(fourccText(module.type())) << "' (" << hex(module.type())
       << ")\n"
       << "configured:  " << escaped(sizeText(options)) << ": "
       << (configured.taken ? "accepted" : escaped(configured.reason)) << '\n';
  const char* label = "prints:     ";
  for (const std::string& line : configured.printed) {
    text << label << ' ' << escaped(line) << '\n';
    label = "            ";
  }
  return text.str();
}

// ASCII only, so that the text cannot control a terminal. Bytes that are not valid UTF-8 are
// replaced, because JSON does not allow them.
std::string jsonText(const nlohmann::ordered_json& value) {
  return value.dump(2, ' ', true, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

std::string asJson(const Options& options, const Module& module, const Configured& configured) {
  nlohmann::ordered_json reason;
  if (!configured.taken) reason = configured.reason;
  return jsonText({{"module", module.path()},
                   {"factory", Module::factoryName},
                   {"type", fourccText(module.type())},
                   {"configuration",
                    {{"width", options.inspectWidth},
                     {"height", options.inspectHeight},
                     {"layout", fourccText(options.inspectLayout)},
                     {"taken", configured.taken},
                     {"reason", reason},
                     {"printed", configured.printed}}}});
}

}  // namespace

int inspect(const Options& options) {
  std::string found;
  bool taken = false;
  try {
    Module module(options.module, options.moduleTimeout);
    const Configured configured = configure(module, options);
    found = (options.json ? asJson : asText)(options, module, configured);
    taken = configured.taken;
    module.unload();
  } catch (const Failure& failure) {
    if (options.json)
      printResult(jsonText({{"module", options.module}, {"error", failure.what()}}));
    throw;
  }
  printResult(found);
  return taken ? exitDone : exitFailed;
}

}  // namespace cmhost
