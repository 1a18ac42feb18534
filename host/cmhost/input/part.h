#pragma once

#include <cstdint>
#include <optional>

#include "host/cmhost/options.h"
#include "host/cmhost/support/av.h"

namespace cmhost {

/// The part of the input that --start and --frames choose, and what it does to time stamps: in the
/// output, time counts from the part's first frame as in the file from its own.
class Part {
 public:
  explicit Part(const Options& options);

  /// Takes an opened file, of which `video` is decoded. `frameRate` is 0/0 when it is unknown.
  void open(const AVFormatContext& format, const AVStream& video, AVRational frameRate);

  /// Whether the part begins later than the file.
  bool startsLater() const { return startSeconds_ > 0; }

  /// Where the part begins, in microseconds of the file's time stamps.
  std::int64_t start() const { return start_; }

  /// Whether a time of the file lies before the part. AV_NOPTS_VALUE does not.
  bool isBeforeStart(std::int64_t time, AVRational timeBase) const;

  /// Whether the part has no more than `frames` frames.
  bool ends(std::int64_t frames) const { return mostFrames_ > 0 && frames >= mostFrames_; }

  /// The part's first frame lies at `pts` of the video stream.
  void beginAt(std::int64_t pts);

  /// What time stamps of the file lose, in units of `timeBase`.
  std::int64_t shift(AVRational timeBase) const;

  /// Where the part ends, in microseconds of the output; none when it ends with the file or nothing
  /// says where. To be called after `beginAt`.
  std::optional<std::int64_t> end() const;

  /// How many frames it has as far as the container says; 0 when that is unknown.
  std::int64_t expectedFrames() const;

 private:
  double startSeconds_;
  std::int64_t mostFrames_;  ///< 0: all
  const AVFormatContext* format_ = nullptr;
  const AVStream* video_ = nullptr;
  AVRational frameRate_{};
  std::int64_t start_ = 0;
  std::int64_t first_ = 0;  ///< time stamp of the first frame, in the video stream's time base
  std::int64_t shift_ = 0;  ///< likewise
};

}  // namespace cmhost
