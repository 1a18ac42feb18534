#pragma once

#include <string>

#include "host/cmhost/output/output_file.h"
#include "host/cmhost/support/av.h"

namespace cmhost {

/// One picture as a PNG, its colours by the matrix and the range that the picture is tagged with.
class Preview {
 public:
  /// Throws `Failure`.
  Preview(const std::string& path, OutputFile::Mode mode) : file_(path, mode) {}

  /// Writes the picture. Throws `Failure`.
  void write(const AVFrame& frame);

  /// Gives the file its name if a picture is written. Throws `Failure`.
  void put();

  const OutputFile& file() const { return file_; }
  const std::string& name() const { return file_.name(); }

 private:
  OutputFile file_;
  bool written_ = false;
};

}  // namespace cmhost
