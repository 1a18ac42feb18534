#pragma once

#include <cstdint>
#include <optional>

#include "host/cmhost/options.h"
#include "host/cmhost/output/constant_rate.h"
#include "host/cmhost/output/encoder_input.h"
#include "host/cmhost/output/frame_times.h"
#include "host/cmhost/output/muxer.h"
#include "host/cmhost/picture/picture_layout.h"
#include "host/cmhost/source.h"
#include "host/cmhost/support/av.h"
#include "host/cmhost/support/dictionary.h"

namespace cmhost {

/// Encodes the marked frames and passes the packets to the muxer. Not thread-safe.
class Encoder {
 public:
  /// Opens the encoder named in the options, or the container's default, for frames like `first`,
  /// and adds its stream to `muxer`. Throws `Failure`.
  Encoder(const Options& options, const Source& source, const AVFrame& first,
          const PictureLayout& layout, Muxer& muxer);

  const char* name() const { return codec_->name; }

  /// Encodes one frame with `pts` in the time base of the input's video stream.
  void encode(FramePtr frame);

  /// Flushes the encoder. Prints a warning when it has dropped frames, and a note about frames that
  /// were repeated or dropped for the rate.
  void finish();

 private:
  void chooseTimeBases(AVRational frameRate);
  void describe(const Source& source, AVRational rate, const AVFrame& first);
  void open(Dictionary& dictionary);
  AVRational chooseRate(const Options& options, const Source& source);
  void encodeOne(FramePtr frame);
  FrameTimes::Time timeOf(const AVFrame& frame);
  void send(const AVFrame* frame);

  Muxer& muxer_;
  const AVCodec* codec_ = nullptr;
  CodecPtr encoder_;
  std::optional<EncoderInput> input_;
  AVRational inputTimeBase_;                  ///< of the frames, after `constantRate_`
  AVRational timeBase_;                       ///< of the packets
  bool countsFrames_ = false;                 ///< the encoder gets frame numbers instead of times
  std::optional<ConstantRate> constantRate_;  ///< empty when frames keep their times
  bool quiet_;
  FrameTimes times_;
  PacketPtr packet_;
  std::int64_t frameCount_ = 0;
  std::int64_t lastPts_ = 0;
  bool warnedOfTimes_ = false;
};

}  // namespace cmhost
