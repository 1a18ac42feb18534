#include <csignal>
#include <exception>
#include <new>

#include "host/cmhost/av.h"
#include "host/cmhost/failure.h"
#include "host/cmhost/messages.h"
#include "host/cmhost/options.h"
#include "host/cmhost/run.h"

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);  // a closed pipe is told by the write that fails
  cmhost::captureAvLog();
  try {
    int exitCode = cmhost::exitDone;
    const auto options = cmhost::parseCommandLine(argc, argv, exitCode);
    if (options) cmhost::run(*options);
    return exitCode;
  } catch (const cmhost::Failure& failure) {
    cmhost::printError(failure.what());
    return failure.exitCode();
  } catch (const std::bad_alloc&) {
    cmhost::printError("not enough memory");
  } catch (const std::exception& exception) {
    cmhost::printError(exception.what());
  }
  return cmhost::exitFailed;
}
