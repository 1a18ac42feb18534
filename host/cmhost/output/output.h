#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "host/cmhost/options.h"
#include "host/cmhost/output/encoder.h"
#include "host/cmhost/output/frame_digest.h"
#include "host/cmhost/output/muxer.h"
#include "host/cmhost/output/output_file.h"
#include "host/cmhost/output/preview.h"
#include "host/cmhost/source.h"

namespace cmhost {

/// Everything that becomes of the marked frames: the video file, the preview, the digests. One
/// thread at a time, but for what says otherwise.
class Output {
 public:
  /// Opens the files, so that what cannot be written fails before any work is done. Throws
  /// `Failure`.
  explicit Output(const Options& options);

  /// Opens the encoder for frames like `first` and writes the container's header. Throws `Failure`.
  void start(const Source& source, const AVFrame& first, const PictureLayout& layout);

  /// Takes a marked frame and the one that it was made from. Throws `Failure`.
  void put(FramePtr marked, const AVFrame& original);

  /// Takes a packet of another stream. At the same time as the rest. Throws `Failure`.
  void putOther(AVPacket& packet);

  /// Every frame has come. Throws `Failure`.
  void endFrames();

  /// Writes the files' ends, then gives them their names; nothing gets its name before everything
  /// is written. Throws `Failure`.
  void commit();

  /// What to say when the frame of the preview did not come; else nothing.
  std::string missingPreview() const;

  /// Closes what a failure has left of the video, when it is to be kept, and says where it lies.
  void keepPartial();

  /// Throws `Failure` when whoever read the output's pipe has gone. Any thread.
  void checkReader() const;

  /// Lets everybody who waits for the output's reader go on, with a failure. Any thread.
  void abandon();

  /// Frames taken so far. Any thread.
  std::int64_t frames() const { return frames_; }

  /// What it is called in messages, and what it is made by.
  std::string description() const;
  const std::string& name() const;

 private:
  void startVideo(const Source& source, const AVFrame& first, const PictureLayout& layout);

  const Options& options_;
  std::unique_ptr<OutputFile> file_;  ///< null when the video goes nowhere; then the two below too
  std::unique_ptr<Muxer> muxer_;
  std::unique_ptr<Encoder> encoder_;
  std::unique_ptr<Preview> preview_;
  std::unique_ptr<FrameDigests> digests_;
  const PictureLayout* layout_ = nullptr;
  bool started_ = false;  ///< the header is written
  bool framesEnded_ = false;
  bool finished_ = false;  ///< the video is written with its end
  std::atomic<std::int64_t> frames_{0};
};

}  // namespace cmhost
