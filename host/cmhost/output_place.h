#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "host/cmhost/file_io.h"

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
/// The system follows links, by its own rules; a link to no file yet leads to the place where the
/// system would make one. A link that somebody else has put into a folder that everybody may write
/// to (sticky, as /tmp) is not followed, as if `fs.protected_symlinks` were always set.
///
/// Throws `Failure` for a folder and for what the system refuses. Only a file that is not there is
/// taken as missing: any other error is reported.
std::optional<OutputPlace> findPlace(const std::string& path);

}  // namespace cmhost
