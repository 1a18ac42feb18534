#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "host/cmhost/support/file_io.h"

namespace cmhost {

/// Where a regular file is to stand: a name in a folder that is held open, so that nothing that
/// happens to the path later leads elsewhere.
struct OutputPlace {
  FileDescriptor folder;          ///< `O_PATH`
  std::string name;               ///< in `folder`; never a link that was there
  std::string shownFolder;        ///< the folder for messages, up to its last slash
  std::optional<mode_t> takenBy;  ///< permissions of the file that stands there already
};

/// Finds the place to which `path` leads; nothing when what is there is no regular file, but a pipe
/// or a device, to be opened by its path.
///
/// Links at the end of the path are followed; a link to no file yet leads to the place where the
/// system would make one, and nothing is made there. A link or a pipe that somebody else has put
/// into a folder that everybody may write to (sticky, as /tmp) is refused, at every link of a
/// chain, as if `fs.protected_symlinks` and `fs.protected_fifos` were always set. Like these, that
/// leaves out links to the folders of a path: the system follows them by its own rules.
///
/// Throws `Failure` for a folder and for what the system refuses. Only a file that is not there is
/// taken as missing: any other error is reported.
std::optional<OutputPlace> findPlace(const std::string& path);

}  // namespace cmhost
