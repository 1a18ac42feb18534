#pragma once

#include <cstdint>
#include <string>

#include "host/cmhost/output/output_file.h"
#include "host/cmhost/source.h"
#include "host/cmhost/support/av.h"

namespace cmhost {

/// Writes the MD5 of every marked frame as raw video, with libavformat's `framemd5` muxer: ffmpeg
/// writes the same file for the same frames.
class FrameDigests {
 public:
  /// Opens the file. Throws `Failure`.
  FrameDigests(const std::string& path, OutputFile::Mode mode);

  /// Writes the header for frames like `first`. Call it once, before `add`. Throws `Failure`.
  void start(const Source& source, const AVFrame& first);

  /// Adds a frame in the pixel format of a layout, with `pts` in the time base of the input's video
  /// stream. Throws `Failure`.
  void add(const AVFrame& frame);

  /// Writes the trailer and closes the file. Throws `Failure`.
  void finish();

  /// Renames the finished file to its final name. Throws `Failure`.
  void put() { file_.put(); }

  const OutputFile& file() const { return file_; }

 private:
  void check(int result);

  OutputFile file_;
  OutputFormatPtr format_;
  AVRational inputTimeBase_{};
  AVRational timeBase_{};
  std::int64_t origin_ = 0;  ///< first time stamp of the input
  PacketPtr packet_;
};

}  // namespace cmhost
