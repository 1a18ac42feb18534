#pragma once

extern "C" {
#include <libavutil/md5.h>
}

#include <array>
#include <cstdint>
#include <memory>
#include <string>

#include "host/cmhost/av.h"
#include "host/cmhost/output_file.h"

namespace cmhost {

/// A list of the marked frames' digests for regression tests: a line a frame and one for the run.
///
/// A frame's digest is the MD5 of its planes' samples, one plane after the other and row after row,
/// chroma sizes rounded up; the run's is that of all frames' samples in a row. They are what any
/// tool computes of the same frames as raw video.
class FrameDigests {
 public:
  /// Throws `Failure`.
  FrameDigests(const std::string& path, OutputFile::Mode mode) : file_(path, mode) {}

  /// Adds a frame of one of the layouts' pixel formats. Throws `Failure`.
  void add(const AVFrame& frame, AVRational timeBase);

  /// Writes the run's line, the last. Throws `Failure`.
  void finish();

  /// Gives the file its name. Throws `Failure`.
  void put() { file_.put(); }

  const OutputFile& file() const { return file_; }

 private:
  class Md5 {
   public:
    Md5();
    void add(const std::uint8_t* bytes, std::size_t count);
    std::string end();

   private:
    std::unique_ptr<AVMD5, void (*)(void*)> state_;
  };

  void print(const std::string& line);

  OutputFile file_;
  Md5 run_;
  std::int64_t frames_ = 0;
  std::string picture_;  ///< size and pixel format
};

}  // namespace cmhost
