#include "host/cmhost/inspect.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "host/cm/frame_queue.h"
#include "host/cm/video_description.h"
#include "host/cmhost/failure.h"
#include "host/cmhost/file_io.h"
#include "host/cmhost/messages.h"
#include "host/cmhost/module.h"
#include "host/cmhost/picture_layout.h"
#include "signal/dispatch.h"
#include "signal/processor_variant.h"

namespace cmhost {

namespace {

// What the module's own copy of the primitives selects: its start-up is the same.
struct StartUp {
  int status = ippStaticInit();
  const char* variant = ns_signal::current_variant().name;
  int index = ippJumpIndexForMergedLibs;
  unsigned long long features = ippGetEnabledCpuFeatures();
  int threads = ownGetNumThreads();
};

struct Configured {
  bool taken = false;
  std::string reason;  ///< of one that is not
  std::vector<std::string> printed;
};

/// Standard output goes to memory while this lives.
class CaughtOutput {
 public:
  CaughtOutput() : memory_(::memfd_create("printed", MFD_CLOEXEC)) {
    std::fflush(stdout);
    output_ = FileDescriptor(::dup(STDOUT_FILENO));
    if (memory_.number() < 0 || output_.number() < 0 || ::dup2(memory_.number(), STDOUT_FILENO) < 0)
      throw Failure("what the module prints cannot be caught");
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
  module.filter().addInputReader(cm::InputQueue::create(
      cm::VideoDescription::create(static_cast<unsigned int>(options.inspectWidth),
                                   static_cast<unsigned int>(options.inspectHeight)),
      1));
  module.filter().addOutputWriter(cm::OutputQueue::create(1));
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

std::string quoted(const std::string& text) {
  std::string result = "\"";
  for (const char character : text) {
    const auto code = static_cast<unsigned char>(character);
    if (character == '"' || character == '\\') result += '\\';
    if (code >= 0x20) {
      result += character;
      continue;
    }
    char escape[8];
    std::snprintf(escape, sizeof escape, "\\u%04x", code);
    result += escape;
  }
  return result + '"';
}

std::string sizeText(const Options& options) {
  return std::to_string(options.inspectWidth) + "x" + std::to_string(options.inspectHeight) + " " +
         fourccText(options.inspectLayout);
}

void printText(const Options& options, const Module& module, const StartUp& startUp,
               const Configured& configured) {
  std::printf("module:      %s\n", module.path().c_str());
  std::printf("factory:     %s\n", Module::factoryName);
  std::printf("component:   type '%s' (%s)\n", fourccText(module.filter().type()).c_str(),
              hex(module.filter().type()).c_str());
  std::printf("start-up:    variant %s (index %d), feature mask %s, threads %d, status %d\n",
              startUp.variant, startUp.index, hex(startUp.features).c_str(), startUp.threads,
              startUp.status);
  std::printf("configured:  %s: %s\n", sizeText(options).c_str(),
              configured.taken ? "result 0" : configured.reason.c_str());
  const char* label = "prints:     ";
  for (const std::string& line : configured.printed) {
    std::printf("%s %s\n", label, line.c_str());
    label = "            ";
  }
}

void printJson(const Options& options, const Module& module, const StartUp& startUp,
               const Configured& configured) {
  std::string printed;
  for (const std::string& line : configured.printed)
    printed += (printed.empty() ? "" : ", ") + quoted(line);
  std::printf(
      "{\n"
      "  \"module\": %s,\n"
      "  \"factory\": %s,\n"
      "  \"type\": %s,\n"
      "  \"start_up\": {\"variant\": %s, \"index\": %d, \"feature_mask\": %s, \"threads\": %d, "
      "\"status\": %d},\n"
      "  \"configuration\": {\"width\": %d, \"height\": %d, \"layout\": %s, \"taken\": %s, "
      "\"reason\": %s, \"printed\": [%s]}\n"
      "}\n",
      quoted(module.path()).c_str(), quoted(Module::factoryName).c_str(),
      quoted(fourccText(module.filter().type())).c_str(), quoted(startUp.variant).c_str(),
      startUp.index, quoted(hex(startUp.features)).c_str(), startUp.threads, startUp.status,
      options.inspectWidth, options.inspectHeight,
      quoted(fourccText(options.inspectLayout)).c_str(), configured.taken ? "true" : "false",
      configured.taken ? "null" : quoted(configured.reason).c_str(), printed.c_str());
}

}  // namespace

int inspect(const Options& options) {
  try {
    Module module(options.module);
    const StartUp startUp;
    const Configured configured = configure(module, options);
    (options.json ? printJson : printText)(options, module, startUp, configured);
    return configured.taken ? exitDone : exitFailed;
  } catch (const Failure& failure) {
    if (options.json)
      std::printf("{\n  \"module\": %s,\n  \"error\": %s\n}\n", quoted(options.module).c_str(),
                  quoted(failure.what()).c_str());
    throw;
  }
}

}  // namespace cmhost
