#include "host/cmhost/output/preview.h"

#include "host/cmhost/picture/format_converter.h"
#include "host/cmhost/support/av_log.h"
#include "host/cmhost/support/failure.h"

namespace cmhost {

void Preview::write(const AVFrame& frame) {
  const FramePtr picture = FormatConverter(frame, AV_PIX_FMT_RGB24).convert(frame);
  picture->pts = 0;
  picture->colorspace = AVCOL_SPC_RGB;
  picture->color_range = AVCOL_RANGE_JPEG;
  // Viewers interpret these tags differently.
  picture->color_primaries = AVCOL_PRI_UNSPECIFIED;
  picture->color_trc = AVCOL_TRC_UNSPECIFIED;

  const AVCodec* const codec = avcodec_find_encoder(AV_CODEC_ID_PNG);
  if (codec == nullptr) throw Failure("--preview: this libavcodec has no PNG encoder");
  const CodecPtr encoder = orThrow<CodecPtr>(avcodec_alloc_context3(codec));
  encoder->width = picture->width;
  encoder->height = picture->height;
  encoder->pix_fmt = AV_PIX_FMT_RGB24;
  encoder->time_base = {1, 1};
  encoder->sample_aspect_ratio = picture->sample_aspect_ratio;
  const PacketPtr packet = newPacket();
  int result = avcodec_open2(encoder.get(), codec, nullptr);
  if (result >= 0) result = avcodec_send_frame(encoder.get(), picture.get());
  if (result >= 0) result = avcodec_send_frame(encoder.get(), nullptr);
  if (result >= 0) result = avcodec_receive_packet(encoder.get(), packet.get());
  if (result < 0)
    throw Failure(file_.name() + ": cannot encode the PNG: " + openErrorReason(result));
  avio_write(file_.io(), packet->data, packet->size);
  file_.finish();
  written_ = true;
}

void Preview::put() {
  if (written_) file_.put();
}

}  // namespace cmhost
