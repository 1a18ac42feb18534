#include "host/cmhost/output/streams/copied_stream.h"

#include <cstring>
#include <new>
#include <utility>

namespace cmhost {

namespace {

// Matroska stores a cover as an attachment; as a video stream, it would become a video track.
void makeAttachment(const AVStream& cover, AVStream& to, bool isPng) {
  AVCodecParameters& parameters = *to.codecpar;
  const AVPacket& picture = cover.attached_pic;
  const auto size = static_cast<std::size_t>(picture.size);
  av_freep(&parameters.extradata);
  parameters.extradata =
      static_cast<std::uint8_t*>(av_mallocz(size + AV_INPUT_BUFFER_PADDING_SIZE));
  if (parameters.extradata == nullptr) throw std::bad_alloc();
  std::memcpy(parameters.extradata, picture.data, size);
  parameters.extradata_size = picture.size;
  parameters.codec_type = AVMEDIA_TYPE_ATTACHMENT;
  to.disposition = 0;
  av_dict_set(&to.metadata, "mimetype", isPng ? "image/png" : "image/jpeg", 0);
  av_dict_set(&to.metadata, "filename", isPng ? "cover.png" : "cover.jpg", AV_DICT_DONT_OVERWRITE);
}

bool hasFramesOfAnySize(AVCodecID codec) {
  return codec == AV_CODEC_ID_AAC || codec == AV_CODEC_ID_MP2 || codec == AV_CODEC_ID_MP3 ||
         codec == AV_CODEC_ID_AC3 || codec == AV_CODEC_ID_EAC3;
}

// The AVI muxer computes the time of audio from its size: `frame_size` samples for each packet, or
// for each block when there is a block size. Without `frame_size`, it assumes a constant bit rate.
void completeFrameSize(AVCodecParameters& audio) {
  if (audio.frame_size == 0)
    audio.frame_size = av_get_audio_frame_duration2(&audio, audio.block_align);
  if (audio.frame_size > 0 && hasFramesOfAnySize(audio.codec_id)) audio.block_align = 0;
}

}  // namespace

void copySideData(const AVStream& from, AVStream& to,
                  const std::function<bool(AVPacketSideDataType)>& holds) {
  const StreamSideData all = sideDataOf(from);
  for (int i = 0; i < all.count; ++i) {
    const AVPacketSideData& data = all.data[i];
    // The first is about the original encoder.
    if (data.type == AV_PKT_DATA_CPB_PROPERTIES || !holds(data.type)) continue;
    std::uint8_t* const copy = newSideData(to, data.type, data.size);
    if (copy == nullptr) throw std::bad_alloc();
    std::memcpy(copy, data.data, data.size);
  }
}

AVStream& addCopyOf(const AVStream& from, AVFormatContext& format) {
  AVStream* const to = avformat_new_stream(&format, nullptr);
  if (to == nullptr || avcodec_parameters_copy(to->codecpar, from.codecpar) < 0)
    throw std::bad_alloc();
  to->codecpar->codec_tag = 0;  // let the muxer choose the tag for this codec
  if (to->codecpar->codec_type == AVMEDIA_TYPE_AUDIO) completeFrameSize(*to->codecpar);
  to->time_base = from.time_base;
  to->avg_frame_rate = from.avg_frame_rate;
  to->r_frame_rate = from.r_frame_rate;
  to->sample_aspect_ratio = from.sample_aspect_ratio;
  to->disposition = from.disposition;
  av_dict_copy(&to->metadata, from.metadata, 0);
  copySideData(from, *to, [](AVPacketSideDataType) { return true; });
  const AVCodecID codec = from.codecpar->codec_id;
  if (std::strcmp(format.oformat->name, "matroska") == 0 && from.attached_pic.size > 0 &&
      (codec == AV_CODEC_ID_PNG || codec == AV_CODEC_ID_MJPEG))
    makeAttachment(from, *to, codec == AV_CODEC_ID_PNG);
  return *to;
}

CopiedStream::CopiedStream(const AVStream& from, AVFormatContext& format, PacketWriter writer)
    : stream_(addCopyOf(from, format)), timeBase_(from.time_base), writer_(std::move(writer)) {}

void CopiedStream::add(const AVPacket& packet) {
  if (stream_.codecpar->codec_type == AVMEDIA_TYPE_ATTACHMENT) return;  // stored in the header
  const PacketPtr copy = orThrow<PacketPtr>(av_packet_clone(&packet));
  copy->stream_index = stream_.index;
  copy->pos = -1;
  if (copy->pts == AV_NOPTS_VALUE && (stream_.disposition & AV_DISPOSITION_ATTACHED_PIC) != 0)
    copy->pts = copy->dts = 0;
  av_packet_rescale_ts(copy.get(), timeBase_, stream_.time_base);
  writer_(*copy);
}

}  // namespace cmhost
