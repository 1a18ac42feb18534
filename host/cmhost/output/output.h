#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/cmhost/network/late_frames.h"
#include "host/cmhost/options.h"
#include "host/cmhost/output/encoder.h"
#include "host/cmhost/output/frame_digest.h"
#include "host/cmhost/output/md5.h"
#include "host/cmhost/output/muxer.h"
#include "host/cmhost/output/output_file.h"
#include "host/cmhost/output/preview.h"
#include "host/cmhost/picture/frame_preparation.h"
#include "host/cmhost/source.h"

namespace cmhost {

/// All outputs of the marked frames: the video file, the preview and the digests. Not thread-safe
/// unless noted.
class Output {
 public:
  /// Opens the files first, so that a file that cannot be written fails before any work is done.
  /// Throws `Failure`.
  explicit Output(const Options& options);

  /// How the encoder stores the samples of a source with the codec `from`. Throws `Failure` if
  /// there is no encoder.
  StoredSamples storedSamples(AVCodecID from) const;

  /// Opens the encoder for frames like `first` and writes the container's header. Throws `Failure`.
  void start(const Source& source, const AVFrame& first, const PictureLayout& layout);

  /// Writes a marked frame; `original` is the frame before marking. Throws `Failure`.
  void put(FramePtr marked, const AVFrame& original);

  /// Writes a packet of another stream. May be called concurrently with `put`. Throws `Failure`.
  void putOther(AVPacket& packet);

  /// Flushes the encoder after the last frame. Throws `Failure`.
  void endFrames();

  /// Completes all files, then renames them to their final names. No file is renamed before all of
  /// them are complete. Throws `Failure`.
  void commit();

  /// Names the streams of the input that are not in the output; empty when there are none. Call it
  /// after `commit`.
  std::string leftOutText() const;

  /// The message when the output has no frame for the preview; otherwise empty.
  std::string missingPreview() const;

  /// After a failure with --keep-partial, closes the partial video and prints its name.
  void keepPartial();

  /// Throws `Failure` when the reader has closed the output's pipe. Any thread.
  void checkReader() const;

  /// Makes writes that wait for the reader of the output fail. Any thread.
  void abandon();

  /// The number of frames written so far. Any thread.
  std::int64_t frames() const { return frames_; }

  /// The time from the start of the first frame to the end of the last one. Any thread.
  double seconds() const { return seconds_; }

  /// The names of container and encoder; empty when the video is discarded or has not started.
  std::string container() const;
  std::string encoder() const;

  /// Indexes of the input's streams that are not in the output.
  std::vector<int> streamsLeftOut() const;

  /// The number of late frames if input or output is a network address, see `LateFrames`;
  /// otherwise -1. Any thread.
  std::int64_t lateFrames() const { return lateFrames_; }

  /// Computed for --report: the MD5 of all marked frames as raw video, and the content of the
  /// committed file.
  std::string framesMd5();
  const OutputFile::Content& content() const { return content_; }

  /// The output's name with its encoder and container, and its name alone, for messages.
  std::string description() const;
  const std::string& name() const;

 private:
  void openVideo(OutputFile::Mode mode);
  void startVideo(const Source& source, const AVFrame& first, const PictureLayout& layout);

  const Options& options_;
  std::unique_ptr<OutputFile> file_;  ///< null when the video is discarded, as are the next two
  std::unique_ptr<Muxer> muxer_;
  std::unique_ptr<Encoder> encoder_;
  std::unique_ptr<Preview> preview_;
  std::unique_ptr<FrameDigests> digests_;
  std::unique_ptr<Md5> framesSum_;
  OutputFile::Content content_;
  AVRational timeBase_{0, 1};  ///< of the frames
  std::int64_t firstPts_ = 0;
  const PictureLayout* layout_ = nullptr;
  bool started_ = false;  ///< the header has been written
  bool framesEnded_ = false;
  bool finished_ = false;  ///< the video is complete
  std::atomic<std::int64_t> frames_{0};
  std::atomic<double> seconds_{0};
  LateFrames late_;
  std::atomic<std::int64_t> lateFrames_{-1};
};

}  // namespace cmhost
