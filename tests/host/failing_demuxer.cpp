// To be preloaded: reading from an input fails in the way that FAILING_DEMUXER says, on the thread
// that it says: `overflows_in_main`, `overflows_in_thread`, `throws_in_thread` (from the twentieth
// packet on).
#include <dlfcn.h>
#include <sys/types.h>
#include <unistd.h>

#include <cstdlib>
#include <new>
#include <string>

#include "tests/support/stack_overflow.h"

struct AVFormatContext;
struct AVPacket;

extern "C" __attribute__((visibility("default"))) int av_read_frame(AVFormatContext* format,
                                                                    AVPacket* packet) {
  using Read = decltype(&av_read_frame);
  static const auto read = reinterpret_cast<Read>(::dlsym(RTLD_NEXT, "av_read_frame"));
  const char* const value = std::getenv("FAILING_DEMUXER");
  const std::string failure = value != nullptr ? value : "";
  const std::string thread = ::gettid() == ::getpid() ? "main" : "thread";
  if (failure == "overflows_in_" + thread) return overflowStack();
  static int packets = 0;
  if (failure == "throws_in_" + thread && ++packets >= 20) throw std::bad_alloc();
  return read(format, packet);
}
