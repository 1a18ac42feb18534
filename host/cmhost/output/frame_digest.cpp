#include "host/cmhost/output/frame_digest.h"

extern "C" {
#include <libavutil/imgutils.h>
}

#include "host/cmhost/support/av_log.h"
#include "host/cmhost/support/failure.h"

namespace cmhost {

FrameDigests::FrameDigests(const std::string& path, OutputFile::Mode mode)
    : file_(path, mode), packet_(newPacket()) {
  AVFormatContext* format = nullptr;
  if (avformat_alloc_output_context2(&format, nullptr, "framemd5", nullptr) < 0)
    throw Failure("--hash: this libavformat has no framemd5 muxer");
  format_.reset(format);
  format_->pb = file_.io();
  format_->flags |= AVFMT_FLAG_BITEXACT;  // omits the library's version
  format_->flush_packets = 0;             // do not flush after every line
}

// Time stamps are those of ffmpeg: in frames if there is a frame rate, and relative to the first
// time stamp of any stream.
void FrameDigests::start(const Source& source, const AVFrame& first) {
  const AVRational rate = source.frameRate;
  inputTimeBase_ = source.video.time_base;
  if (source.format.start_time != AV_NOPTS_VALUE)
    origin_ = av_rescale_q(source.format.start_time, av_get_time_base_q(), inputTimeBase_);
  timeBase_ = rate.num > 0 ? av_inv_q(rate) : inputTimeBase_;
  AVStream* const stream = avformat_new_stream(format_.get(), nullptr);
  if (stream == nullptr) throw std::bad_alloc();
  stream->time_base = timeBase_;
  AVCodecParameters& parameters = *stream->codecpar;
  parameters.codec_type = AVMEDIA_TYPE_VIDEO;
  parameters.codec_id = AV_CODEC_ID_RAWVIDEO;
  parameters.format = first.format;
  parameters.width = first.width;
  parameters.height = first.height;
  stream->sample_aspect_ratio = parameters.sample_aspect_ratio = first.sample_aspect_ratio;
  check(avformat_write_header(format_.get(), nullptr));
}

void FrameDigests::add(const AVFrame& frame) {
  const auto format = static_cast<AVPixelFormat>(frame.format);
  const int bytes = av_image_get_buffer_size(format, frame.width, frame.height, 1);
  if (bytes < 0 || av_new_packet(packet_.get(), bytes) < 0) throw std::bad_alloc();
  av_image_copy_to_buffer(packet_->data, bytes, frame.data, frame.linesize, format, frame.width,
                          frame.height, 1);
  packet_->pts = packet_->dts = av_rescale_q(frame.pts - origin_, inputTimeBase_, timeBase_);
  packet_->duration = av_rescale_q(durationOf(frame), inputTimeBase_, timeBase_);
  const int result = av_write_frame(format_.get(), packet_.get());
  av_packet_unref(packet_.get());
  check(result);
}

void FrameDigests::finish() {
  check(av_write_trailer(format_.get()));
  file_.finish();
}

void FrameDigests::check(int result) {
  file_.check();
  if (result < 0) throw Failure(file_.name() + ": cannot write: " + avErrorReason(result));
}

}  // namespace cmhost
