#pragma once

extern "C" {
#include <libavutil/audio_fifo.h>
#include <libswresample/swresample.h>
}

#include <cstdint>
#include <functional>
#include <memory>

#include "host/cmhost/support/av.h"

namespace cmhost {

using ResamplerPtr = std::unique_ptr<SwrContext, AvFree<swr_free>>;

struct AudioFifoFree {
  void operator()(AVAudioFifo* fifo) const { av_audio_fifo_free(fifo); }
};
using AudioFifoPtr = std::unique_ptr<AVAudioFifo, AudioFifoFree>;

/// Converts decoded sound to the format of an encoder, in frames of the encoder's size. Each frame
/// has the time of its first sample, so that gaps in the sound remain.
class SoundConverter {
 public:
  using Sink = std::function<void(AVFrame& frame)>;

  /// Keeps a reference to `encoder`, which is open. `timeBase` is that of the frames added. The
  /// time stamps of the frames passed to `sink` are in samples.
  SoundConverter(const AVCodecContext& encoder, AVRational timeBase, Sink sink);

  /// Converts a decoded frame. Returns false when its format cannot be converted.
  bool add(const AVFrame& frame);

  /// Passes on what is left; the last frame may be shorter.
  void finish();

 private:
  bool follow(const AVFrame& frame);
  std::int64_t timeOf(const AVFrame& frame);
  void moveTo(std::int64_t time);
  void convert(const std::uint8_t* const* samples, int count);
  void pad();
  void passOn(int leastSamples);

  const AVCodecContext& encoder_;
  const AVRational timeBase_;
  Sink sink_;
  AudioFifoPtr waiting_;
  ResamplerPtr resampler_;
  AVSampleFormat inputFormat_ = AV_SAMPLE_FMT_NONE;
  int inputRate_ = 0;
  AVChannelLayout inputLayout_ = {};
  std::int64_t inputTime_ = AV_NOPTS_VALUE;  ///< end of the last frame, in samples of the input
  std::int64_t time_ = 0;                    ///< of the first waiting sample
  bool began_ = false;
};

}  // namespace cmhost
