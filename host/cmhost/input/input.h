#pragma once

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "host/cmhost/input/input_file.h"
#include "host/cmhost/input/integrity/integrity.h"
#include "host/cmhost/input/memory_limits.h"
#include "host/cmhost/input/references.h"
#include "host/cmhost/options.h"
#include "host/cmhost/support/av.h"

namespace cmhost {

/// The input: demuxes the file, decodes its video stream and hands out the packets of all others.
/// One thread at a time, `interrupt` excepted.
class Input {
 public:
  /// Gets each packet that is not of the decoded stream, in the order of the file.
  using PacketSink = std::function<void(AVPacket& packet)>;

  /// Opens the file and the decoder of its video stream, at the beginning of the part that the
  /// options ask for. Throws `Failure`.
  explicit Input(const Options& options);

  /// The next picture, its `pts` in the stream's time base and set; null at the end of the part,
  /// and when a signal has ended reading and the decoder has given what it still held. Throws
  /// `Failure` when the file is damaged or cut short, which says what could be decoded.
  FramePtr nextFrame();

  /// Until this is called, packets of other streams wait here; they go to the sink first.
  void sendOtherPacketsTo(PacketSink sink);

  AVFormatContext& format() const { return *format_; }
  AVStream& video() const { return *video_; }
  const std::string& name() const { return file_.name(); }

  /// Frames a second as the container says, 0/0 when it does not.
  AVRational frameRate() const;

  /// How many frames the part holds as far as the container tells; 0 when it does not.
  std::int64_t expectedFrames() const;

  std::int64_t decodedFrames() const { return decodedFrames_; }

  /// Where the last frame lies in the file.
  double lastFrameSeconds() const { return lastFrameSeconds_; }

  /// Whether a signal has ended reading before the part's end.
  bool stopped() const { return stopped_; }

  /// Makes `nextFrame` fail soon. Any thread.
  void interrupt() { file_.interrupt(); }

 private:
  void openFormat(const Options& options);
  void chooseVideo();
  void openDecoder();
  void seekToStart(double seconds);
  FramePtr decodeFrame();
  bool isBeforeKeyFrame();
  void noteFirstPacket();
  void feedDecoder();
  void sendToDecoder(const AVPacket* packet);
  void stopReading();
  bool isLeftOut();
  bool startsAnywhere() const;
  void skipOrFail(const std::string& what);
  bool isBeforeStart(std::int64_t time, AVRational timeBase) const;
  void passOn(AVPacket& packet);
  void passOnRest();
  void checkComplete() const;
  void failIf(const std::string& damage) const;
  void finishFrame(AVFrame& frame);
  void beginAt(std::int64_t pts);
  [[noreturn]] void failDamaged(const std::string& what) const;

  InputFile file_;
  References references_;
  MemoryLimits memory_;
  Integrity integrity_;
  InputFormatPtr format_;
  AVStream* video_ = nullptr;
  CodecPtr decoder_;
  PacketPtr packet_;
  PacketSink sink_;
  std::vector<PacketPtr> waiting_;
  std::size_t waitingBytes_ = 0;
  std::int64_t mostFrames_;   ///< of the part; 0: all
  std::int64_t start_ = 0;    ///< of the part in the file, in microseconds
  bool startsLater_ = false;  ///< the part is not the file from its beginning
  std::int64_t shift_ = 0;    ///< what time stamps lose, in the video stream's time base
  std::int64_t decodedFrames_ = 0;
  bool startSkipped_ = false;
  bool awaitsKeyFrame_ = false;
  bool atFirstPacket_ = true;        ///< of the video
  bool beginsWithSequence_ = false;  ///< so does the first packet, in MPEG video
  bool stopped_ = false;
  std::set<int> leftOut_;        ///< streams whose last packet has been left out
  std::int64_t nextPts_ = 0;     ///< in the file, for a frame without a time stamp
  double lastFrameSeconds_ = 0;  ///< of the last frame decoded, in the file
};

}  // namespace cmhost
