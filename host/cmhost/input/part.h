#pragma once

#include <cstdint>

#include "host/cmhost/options.h"
#include "host/cmhost/support/av.h"

namespace cmhost {

/// The part of the input selected by --start and --frames, and its effect on time stamps: the part
/// starts in the output at the time stamp at which the video stream starts in the file.
class Part {
 public:
  explicit Part(const Options& options);

  /// Sets the opened file; `video` is the decoded stream. `frameRate` is 0/0 when unknown.
  void open(const AVFormatContext& format, const AVStream& video, AVRational frameRate);

  /// Whether the part starts later than the file.
  bool startsLater() const { return startSeconds_ > 0; }

  /// Requested start of the part, in microseconds of the file's time stamps. The first frame of the
  /// part may be later.
  std::int64_t start() const { return start_; }

  /// Whether a time stamp of the file is before the requested start. False for AV_NOPTS_VALUE.
  bool isBeforeStart(std::int64_t time, AVRational timeBase) const;

  /// Whether the part may end earlier than the file.
  bool mayEndEarly() const { return mostFrames_ > 0; }

  /// Whether the part ends after `frames` frames.
  bool ends(std::int64_t frames) const { return mostFrames_ > 0 && frames >= mostFrames_; }

  /// Sets the time stamp of the part's first frame, in the video stream's time base.
  void beginAt(std::int64_t pts);

  /// The value to subtract from time stamps of the file, in units of `timeBase`.
  std::int64_t shift(AVRational timeBase) const;

  /// Time stamp of the part's first frame in the file, in units of `timeBase`. Call it after
  /// `beginAt`.
  std::int64_t first(AVRational timeBase) const;

  /// The number of frames in the part, according to the container; 0 when unknown.
  std::int64_t expectedFrames() const;

 private:
  double startSeconds_;
  std::int64_t mostFrames_;  ///< 0: all
  const AVFormatContext* format_ = nullptr;
  const AVStream* video_ = nullptr;
  AVRational frameRate_{};
  std::int64_t start_ = 0;
  std::int64_t first_ = 0;  ///< time stamp of the first frame, in the video stream's time base
  std::int64_t shift_ = 0;  ///< in the same time base
};

}  // namespace cmhost
