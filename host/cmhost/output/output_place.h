#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "host/cmhost/support/file_io.h"

namespace cmhost {

/// The place for a regular file: a name in an open folder, so that later changes to the path have
/// no effect.
struct OutputPlace {
  FileDescriptor folder;          ///< `O_PATH`
  std::string name;               ///< in `folder`; never an existing link
  std::string shownFolder;        ///< folder as shown in messages, with the final slash
  std::optional<mode_t> takenBy;  ///< permissions of the existing file, if any
};

/// Finds the place to which `path` leads. Returns nothing if it is an existing file other than a
/// regular one (a pipe or a device), which is opened by its path.
///
/// Links at the end of the path are followed. A dangling link leads to the place where the system
/// would create the file; nothing is created there. A link or a pipe that another user created in a
/// world-writable sticky folder (such as /tmp) is refused, at every link of a chain, as if
/// `fs.protected_symlinks` and `fs.protected_fifos` were always set. As with these settings, links
/// to the folders in the path are not checked: the system follows them by its own rules.
///
/// Throws `Failure` for a directory, a socket and any error of the system except that the file does
/// not exist.
std::optional<OutputPlace> findPlace(const std::string& path);

}  // namespace cmhost
