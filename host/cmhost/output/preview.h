#pragma once

#include <string>

#include "host/cmhost/output/output_file.h"
#include "host/cmhost/support/av.h"

namespace cmhost {

/// Writes one frame as a PNG, converted with the matrix and range of its tags.
class Preview {
 public:
  /// Throws `Failure`.
  Preview(const std::string& path, OutputFile::Mode mode) : file_(path, mode) {}

  /// Writes the frame. Throws `Failure`.
  void write(const AVFrame& frame);

  /// Renames the file to its final name if a frame was written. Throws `Failure`.
  void put();

  const OutputFile& file() const { return file_; }
  const std::string& name() const { return file_.name(); }

 private:
  OutputFile file_;
  bool written_ = false;
};

}  // namespace cmhost
