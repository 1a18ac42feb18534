#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "host/cmhost/options.h"
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

  /// Flushes the encoder.
  void finish();

 private:
  void chooseCodec(const std::string& name);
  AVPixelFormat choosePixelFormat(const PictureLayout& layout, AVColorRange range) const;
  AVRational chooseTimeBase(AVRational frameRate) const;
  void describe(const Source& source, const AVFrame& first);
  void silence(Dictionary& dictionary) const;
  void open(const Options& options);
  void send(const AVFrame* frame);

  Muxer& muxer_;
  const AVCodec* codec_ = nullptr;
  CodecPtr encoder_;
  AVRational inputTimeBase_;
  PacketPtr packet_;
  std::int64_t lastPts_ = AV_NOPTS_VALUE;
  bool warnedOfTimes_ = false;
  std::map<std::int64_t, std::int64_t> durations_;  ///< of frames inside the encoder, by pts
};

}  // namespace cmhost
