#pragma once

#include <cstdint>
#include <string>

#include "host/cmhost/output/output_place.h"
#include "host/cmhost/support/file_io.h"
#include "host/cmhost/support/interruption.h"

namespace cmhost {

/// Returns `NAME.RANDOM.part`, at most `longest` bytes. A long name is truncated at a UTF-8
/// character boundary.
std::string temporaryName(const std::string& name, std::uint64_t random, std::size_t longest);

/// A file that is written under a temporary name in its final folder and renamed when it is
/// complete. Before that, it is removed with this object or when a signal ends the process.
class StagedFile {
 public:
  /// Creates the file under an unpredictable name. It has its final permissions from the start:
  /// those of the file that it replaces, or the process's defaults for new files. `path` names it
  /// in messages. With `keep` it is never removed. Throws `Failure`.
  StagedFile(const std::string& path, OutputPlace place, bool keep);

  ~StagedFile();
  StagedFile(const StagedFile&) = delete;
  StagedFile& operator=(const StagedFile&) = delete;

  /// The open file, for reading and writing. Call it once.
  FileDescriptor takeFile() { return std::move(file_); }

  /// Renames the file to its final name; `overwrite` replaces an existing file. Throws `Failure`.
  void put(bool overwrite);

  /// Waits until the new name is on disk. Throws `Failure`.
  void synchroniseFolder() const;

  /// The temporary path, for messages; empty once the file has its final name.
  std::string temporaryPath() const {
    return temporary_.empty() ? std::string() : place_.shownFolder + temporary_;
  }

  /// Whether both files have the same final name.
  bool isSamePlace(const StagedFile& other) const;

 private:
  void create();
  int putWhereNothingIs();

  std::string path_;
  OutputPlace place_;
  bool keep_;
  std::string temporary_;  ///< empty once the file has its final name
  FileDescriptor file_;
  interruption::TemporaryFile removedBySignal_;
};

}  // namespace cmhost
