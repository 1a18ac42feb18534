#pragma once

#include <cstdint>
#include <string>

#include "host/cmhost/output/output_place.h"
#include "host/cmhost/support/file_io.h"
#include "host/cmhost/support/interruption.h"

namespace cmhost {

/// `NAME.RANDOM.part`, at most `longest` bytes: of a long name the end is left out, by whole UTF-8
/// characters.
std::string temporaryName(const std::string& name, std::uint64_t random, std::size_t longest);

/// A file that is written under a temporary name in the folder of its place, and gets its own name
/// when it is complete. Until then it goes with this object, or when a signal ends the process.
class StagedFile {
 public:
  /// Creates the file under a name that nobody can guess. It has its final permissions from the
  /// start: those of the file that it replaces, or those that the process gives to new files.
  /// `path` is what messages call it. With `keep` it is never removed. Throws
  /// `Failure`.
  StagedFile(const std::string& path, OutputPlace place, bool keep);

  ~StagedFile();
  StagedFile(const StagedFile&) = delete;
  StagedFile& operator=(const StagedFile&) = delete;

  /// The open file, for reading and writing. To be taken once.
  FileDescriptor takeFile() { return std::move(file_); }

  /// Gives the file its name; `overwrite` replaces what has that name. Throws `Failure`.
  void put(bool overwrite);

  /// Waits until the folder holds the name for good. Throws `Failure`.
  void synchroniseFolder() const;

  /// Where the file is as long as it does not have its name, for messages; then empty.
  std::string temporaryPath() const {
    return temporary_.empty() ? std::string() : place_.shownFolder + temporary_;
  }

  /// Whether two files are to get the same name.
  bool isSamePlace(const StagedFile& other) const;

 private:
  void create();
  int putWhereNothingIs();

  std::string path_;
  OutputPlace place_;
  bool keep_;
  std::string temporary_;  ///< empty when the file has its own name
  FileDescriptor file_;
  interruption::TemporaryFile removedBySignal_;
};

}  // namespace cmhost
