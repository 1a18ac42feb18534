#pragma once

#include <string>
#include <vector>

#include "tests/host/program.h"

/// Runs `cmhost` and sees what it asks of the system: which files it opens, whether it goes to the
/// network or starts other programs.
namespace watched {

struct Run {
  program::Result result;
  std::vector<std::string> opened;     ///< paths of files, as they were named
  std::vector<std::string> forbidden;  ///< calls for sockets and for other programs, by their name
};

/// Runs `cmhost` to its end. System calls for sockets fail. A signal ends a run that takes more
/// than 20 s of processor time.
Run run(const std::string& folder, const std::vector<std::string>& arguments,
        program::Streams streams = {});

/// What of `opened` is neither one of `expected`, nor a temporary file for one of these, nor opened
/// by a run on an ordinary video, as libraries are.
std::vector<std::string> unexpected(const std::vector<std::string>& opened,
                                    const std::vector<std::string>& expected);

}  // namespace watched
