#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <exception>
#include <new>

#include "host/cmhost/inspect.h"
#include "host/cmhost/module/sudden_end.h"
#include "host/cmhost/options.h"
#include "host/cmhost/run.h"
#include "host/cmhost/support/av.h"
#include "host/cmhost/support/failure.h"
#include "host/cmhost/support/interruption.h"
#include "host/cmhost/support/messages.h"
#include "host/cmhost/support/signal_stack.h"

namespace {

// Every picture takes megabytes and goes again soon. By default the C library gives such memory
// back each time and has the system clear it anew for the next picture, which costs more time than
// marking does.
void keepPicturesMemory() {
  constexpr int wholePictures = 1 << 30;
  mallopt(M_MMAP_THRESHOLD, wholePictures);
  mallopt(M_TRIM_THRESHOLD, wholePictures);
  mallopt(M_ARENA_MAX, 1);  // whichever thread takes it
}

// A file opened where a standard stream is missing would get what is meant for that stream. What
// stands in its place can neither be read nor written.
void fillStandardStreams() {
  for (;;) {
    const int lowest = ::open("/dev/null", O_RDONLY);
    if (lowest < 0 || lowest > STDERR_FILENO) {
      if (lowest >= 0) ::close(lowest);
      return;
    }
    if (lowest == STDIN_FILENO) {
      ::close(lowest);
      ::open("/dev/null", O_WRONLY);
    }
  }
}

int failed(const char* reason, int exitCode = cmhost::exitFailed) {
  cmhost::printError(reason);
  const int signal = cmhost::interruption::received();
  return signal != 0 ? cmhost::exitSignal + signal : exitCode;
}

int runProgram(int argc, char** argv) {
  try {
    int exitCode = cmhost::exitDone;
    const auto options = cmhost::parseCommandLine(argc, argv, exitCode);
    if (!options) return exitCode;
    if (options->inspect) return cmhost::inspect(*options);
    cmhost::interruption::install();
    return cmhost::run(*options);
  } catch (const cmhost::Failure& failure) {
    return failed(failure.what(), failure.exitCode());
  } catch (const std::bad_alloc&) {
    return failed("out of memory");
  } catch (const std::exception& exception) {
    return failed(exception.what());
  } catch (...) {
    return failed("unknown exception");
  }
}

}  // namespace

int main(int argc, char** argv) {
  fillStandardStreams();
  keepPicturesMemory();
  std::signal(SIGPIPE, SIG_IGN);  // told by the write that fails, as is the next
  std::signal(SIGXFSZ, SIG_IGN);
  ::setenv("SVT_LOG", "1", 0);  // this AV1 encoder prints a banner unless told to print errors only
  cmhost::captureAvLog();
  const cmhost::SignalStack signalStack;
  cmhost::sudden_end::install();
  return cmhost::sudden_end::finish(runProgram(argc, argv));
}
