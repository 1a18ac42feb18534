#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <exception>
#include <new>

#include "host/cmhost/batch/batch.h"
#include "host/cmhost/inspect.h"
#include "host/cmhost/module/sudden_end.h"
#include "host/cmhost/options.h"
#include "host/cmhost/output/encoder_list.h"
#include "host/cmhost/run.h"
#include "host/cmhost/support/av.h"
#include "host/cmhost/support/av_log.h"
#include "host/cmhost/support/failure.h"
#include "host/cmhost/support/interruption.h"
#include "host/cmhost/support/messages.h"
#include "host/cmhost/support/signal_stack.h"

namespace {

// Frames take megabytes and live for a short time. By default the C library returns such memory to
// the system, which clears it again for the next frame. That takes longer than marking the frame.
void keepPicturesMemory() {
  constexpr int threshold = 1 << 30;
  mallopt(M_MMAP_THRESHOLD, threshold);
  mallopt(M_TRIM_THRESHOLD, threshold);
  mallopt(M_ARENA_MAX, 1);  // frames are allocated in one thread and freed in another
}

// If a standard stream is closed, the next file opened would take its number and receive its data.
// The placeholders opened here can be neither read nor written.
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
    if (options->listEncoders) {
      cmhost::printResult(cmhost::encoderList());
      return exitCode;
    }
    if (options->inspect) return cmhost::inspect(*options);
    cmhost::interruption::install();
    return options->batch ? cmhost::runBatch(*options) : cmhost::run(*options);
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
  std::signal(SIGPIPE, SIG_IGN);  // reported by the write that fails; same below
  std::signal(SIGXFSZ, SIG_IGN);
  ::setenv("SVT_LOG", "0", 0);  // this AV1 encoder prints its messages itself
  cmhost::captureAvLog();
  const cmhost::SignalStack signalStack;
  cmhost::sudden_end::install();
  return cmhost::sudden_end::finish(runProgram(argc, argv));
}
