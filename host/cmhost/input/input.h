#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/cmhost/input/beginning.h"
#include "host/cmhost/input/damage_log.h"
#include "host/cmhost/input/decoder.h"
#include "host/cmhost/input/input_file.h"
#include "host/cmhost/input/integrity/integrity.h"
#include "host/cmhost/input/memory_limits.h"
#include "host/cmhost/input/other_packets.h"
#include "host/cmhost/input/part.h"
#include "host/cmhost/input/references.h"
#include "host/cmhost/options.h"
#include "host/cmhost/source.h"
#include "host/cmhost/support/av.h"

namespace cmhost {

/// Demuxes the input, decodes its video stream and passes on the packets of all other streams. Not
/// thread-safe, except for `interrupt`.
class Input {
 public:
  /// Opens the file and the decoder of its video stream, at the start of the part selected by the
  /// options. Throws `Failure`.
  explicit Input(const Options& options);

  /// Returns the next frame, with `pts` set, in the stream's time base, and with the sample aspect
  /// ratio of the container, if it has one. Returns null at the end of
  /// the part, and after a signal once the decoder is drained. Throws `Failure` when the file is
  /// damaged or truncated; the message reports how many frames were decoded. With --conceal, damage
  /// is recorded instead, unless no frame can be decoded.
  FramePtr nextFrame();

  /// The packets of all other streams.
  OtherPackets& others() { return others_; }

  /// Describes the input for the output. Call it after the first frame.
  Source source();

  /// The codec of the video stream.
  AVCodecID codec() const { return video_->codecpar->codec_id; }

  const std::string& name() const { return file_.name(); }

  /// Size in bytes; of a pipe, the number of bytes read so far.
  std::int64_t bytes() const { return file_.size(); }

  /// The number of frames in the part, according to the container; 0 when unknown.
  std::int64_t expectedFrames() const { return part_.expectedFrames(); }

  std::int64_t decodedFrames() const { return decodedFrames_; }

  /// Time of the last frame in the file.
  double lastFrameSeconds() const { return lastFrameSeconds_; }

  /// Whether a signal stopped reading before the end of the part.
  bool stopped() const { return stopped_; }

  /// Records damage that is found in the frame returned last.
  void addDamage(const std::string& what);

  /// The damage that was concealed. Any thread.
  const DamageLog& damage() const { return damage_; }

  /// Makes `nextFrame` fail soon. Any thread.
  void interrupt() { file_.interrupt(); }

 private:
  void openFormat(const Options& options);
  void chooseVideo(int number);
  void seekToStart();
  FramePtr decodeFrame();
  void feedDecoder();
  void sendToDecoder(const AVPacket* packet);
  void stopReading();
  void meetDamage(const std::string& what);
  void skipOrMeet(const std::string& what);
  void endEarly(int error);
  void meetIf(const std::string& damage);
  void passOn();
  void passOnRest();
  void checkComplete();
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
  AVRational frameRate_{};
  Part part_;
  Beginning beginning_;
  std::optional<Decoder> decoder_;
  OtherPackets others_;
  PacketPtr packet_;
  const bool conceals_;
  DamageLog damage_;
  std::string frameDamage_;  ///< of the frame that the decoder returned last
  bool stopped_ = false;
  std::int64_t decodedFrames_ = 0;
  std::int64_t nextPts_ = 0;               ///< in the file, for a frame without a time stamp
  std::int64_t lastPts_ = AV_NOPTS_VALUE;  ///< of the last frame decoded, in the file
  double lastFrameSeconds_ = 0;            ///< of the last frame decoded, in the file
};

}  // namespace cmhost
