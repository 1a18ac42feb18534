#pragma once

#include <cstdint>
#include <string>

#include "host/cmhost/output/output_file.h"
#include "host/cmhost/source.h"
#include "host/cmhost/support/av.h"

namespace cmhost {

/// The MD5 of every marked frame as raw video, in the format of the media library's `framemd5`
/// muxer: ffmpeg writes the same file for the same frames.
class FrameDigests {
 public:
  /// Opens the file. Throws `Failure`.
  FrameDigests(const std::string& path, OutputFile::Mode mode);

  /// Writes the header for frames like `first`. Once, before `add`. Throws `Failure`.
  void start(const Source& source, const AVFrame& first);

  /// Adds a frame of one of the layouts' pixel formats, its `pts` in the time base of the input's
  /// video stream. Throws `Failure`.
  void add(const AVFrame& frame);

  /// Writes the end of the file. Throws `Failure`.
  void finish();

  /// Gives the file its name. Throws `Failure`.
  void put() { file_.put(); }

  const OutputFile& file() const { return file_; }

 private:
  void check(int result);

  OutputFile file_;
  OutputFormatPtr format_;
  AVRational inputTimeBase_{};
  AVRational timeBase_{};
  std::int64_t origin_ = 0;  ///< the input's first time stamp
  PacketPtr packet_;
};

}  // namespace cmhost
