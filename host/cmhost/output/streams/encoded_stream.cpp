#include "host/cmhost/output/streams/encoded_stream.h"

#include <new>

namespace cmhost {

AVStream& addEncodedStream(const AVStream& from, const AVCodecContext& encoder,
                           AVFormatContext& format) {
  AVStream* const stream = avformat_new_stream(&format, nullptr);
  if (stream == nullptr || avcodec_parameters_from_context(stream->codecpar, &encoder) < 0)
    throw std::bad_alloc();
  stream->time_base = encoder.time_base;
  stream->disposition = from.disposition;
  av_dict_copy(&stream->metadata, from.metadata, 0);
  av_dict_set(&stream->metadata, "encoder", nullptr, 0);
  return *stream;
}

}  // namespace cmhost
