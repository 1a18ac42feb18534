#pragma once

#include <string>

#include "host/cmhost/input/memory_limits.h"
#include "host/cmhost/support/av.h"

namespace cmhost {

/// Sets up a decoder that is not open yet so that a damaged picture does not pass for a good one:
/// some decoders then return an error, the others mark the frame.
void refuseDamage(AVCodecContext& decoder);

/// The decoder of one video stream, set up so that damage does not pass for a picture.
class Decoder {
 public:
  /// Opens the decoder for `video`. `input` is how messages call the file. Throws `Failure`.
  Decoder(const std::string& input, const AVStream& video, MemoryLimits& memory);

  /// Gives it a packet, or null at the end. Returns the media library's error; what the decoder
  /// finds damaged may be any packet that it holds.
  int send(const AVPacket* packet) { return avcodec_send_packet(context_.get(), packet); }

  /// The next picture. Returns AVERROR(EAGAIN) when it needs a packet first, AVERROR_EOF after the
  /// last one, or another error.
  int receive(AVFrame& frame) { return avcodec_receive_frame(context_.get(), &frame); }

 private:
  CodecPtr context_;
};

}  // namespace cmhost
