#pragma once

#include <string>

#include "host/cmhost/input/memory_limits.h"
#include "host/cmhost/support/av.h"

namespace cmhost {

/// Sets up a decoder that is not open yet so that it reports damaged frames: some decoders return
/// an error, others flag the frame.
void refuseDamage(AVCodecContext& decoder);

/// Decodes one video stream and reports damage.
class Decoder {
 public:
  /// Whether damaged frames are refused, or returned as well as the decoder can restore them.
  enum class Damage { refused, concealed };

  /// Opens the decoder for `video` with at most `threads` threads; 0: any number. `input` names the
  /// file in messages. Throws `Failure`.
  Decoder(const std::string& input, const AVStream& video, MemoryLimits& memory, Damage damage,
          int threads);

  /// Sends a packet, or null to drain the decoder. Returns FFmpeg's error code; it may be about any
  /// packet that the decoder still holds.
  int send(const AVPacket* packet) { return avcodec_send_packet(context_.get(), packet); }

  /// Receives the next frame. Returns AVERROR(EAGAIN) when the decoder needs another packet,
  /// AVERROR_EOF after the last frame, or another error.
  int receive(AVFrame& frame) { return avcodec_receive_frame(context_.get(), &frame); }

 private:
  CodecPtr context_;
};

}  // namespace cmhost
