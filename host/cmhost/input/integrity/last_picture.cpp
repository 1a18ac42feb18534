#include "host/cmhost/input/integrity/last_picture.h"

extern "C" {
#include <libavutil/adler32.h>
#include <libavutil/imgutils.h>
}

#include <algorithm>
#include <cstring>
#include <iterator>

#include "host/cmhost/input/decoder.h"
#include "host/cmhost/support/threads.h"

namespace cmhost {

namespace {

// Limits for decoding again.
constexpr std::size_t mostPackets = 300;
constexpr std::size_t mostBytes = std::size_t{64} << 20;

// Size of a packet without the zeros after its last NAL unit; 0 if that unit is not a slice.
std::size_t sliceEnd(const AVPacket& packet, AVCodecID codec) {
  static constexpr std::uint8_t startCode[] = {0, 0, 1};
  const std::uint8_t* const begin = packet.data;
  const std::uint8_t* end = begin + packet.size;
  while (end > begin && end[-1] == 0) --end;
  const std::uint8_t* const last =
      std::find_end(begin, end, std::begin(startCode), std::end(startCode));
  if (end - last <= static_cast<std::ptrdiff_t>(sizeof startCode)) return 0;
  const std::uint8_t head = last[sizeof startCode];
  const bool isSlice = codec == AV_CODEC_ID_H264 ? (head & 0x1F) == 1 || (head & 0x1F) == 5
                                                 : (head >> 1 & 0x3F) < 32;
  return isSlice ? static_cast<std::size_t>(end - begin) : 0;
}

PacketPtr withTail(const AVPacket& packet, std::size_t bytes, std::uint8_t tail) {
  constexpr std::size_t tailBytes = 256;
  PacketPtr result = newPacket();
  if (av_new_packet(result.get(), static_cast<int>(bytes + tailBytes)) < 0 ||
      av_packet_copy_props(result.get(), &packet) < 0)
    throw std::bad_alloc();
  std::memcpy(result->data, packet.data, bytes);
  std::memset(result->data + bytes, tail, tailBytes);
  return result;
}

AVAdler addPicture(const AVFrame& frame, AVAdler sum) {
  const auto format = static_cast<AVPixelFormat>(frame.format);
  const int size = av_image_get_buffer_size(format, frame.width, frame.height, 1);
  if (size < 0) return sum;
  std::vector<std::uint8_t> bytes(static_cast<std::size_t>(size));
  av_image_copy_to_buffer(bytes.data(), size, frame.data, frame.linesize, format, frame.width,
                          frame.height, 1);
  return av_adler32_update(sum, bytes.data(), static_cast<unsigned int>(size));
}

CodecPtr newDecoder(const AVCodecParameters& parameters, LastPicture::Threads threads) {
  const AVCodec* const codec = avcodec_find_decoder(parameters.codec_id);
  CodecPtr decoder = orThrow<CodecPtr>(avcodec_alloc_context3(codec));
  if (avcodec_parameters_to_context(decoder.get(), &parameters) < 0) throw std::bad_alloc();
  decoder->thread_count = 1;
  if (threads == LastPicture::Threads::many)
    decoder->thread_count = threadsFor(av_image_get_buffer_size(
        static_cast<AVPixelFormat>(parameters.format), parameters.width, parameters.height, 1));
  return decoder;
}

// Returns a checksum of all frames decoded from the packets. Errors were already reported when the
// packets were decoded the first time.
AVAdler decode(const AVCodecParameters& parameters, const std::vector<PacketPtr>& packets,
               const AVPacket& last, LastPicture::Threads threads) {
  const CodecPtr decoder = newDecoder(parameters, threads);
  AVAdler sum = 1;
  if (avcodec_open2(decoder.get(), decoder->codec, nullptr) < 0) return sum;
  const FramePtr frame = newFrame();
  const auto feed = [&](const AVPacket* packet) {
    avcodec_send_packet(decoder.get(), packet);
    while (avcodec_receive_frame(decoder.get(), frame.get()) >= 0) sum = addPicture(*frame, sum);
  };
  for (std::size_t i = 0; i + 1 < packets.size(); ++i) feed(packets[i].get());
  feed(&last);
  feed(nullptr);
  return sum;
}

}  // namespace

void LastPicture::begin(const AVFormatContext& format, const AVStream& stream) {
  static constexpr const char* inventing[] = {"h264", "hevc", "mpegts", "mpegtsraw"};
  const AVInputFormat& container = *format.iformat;
  const AVCodecID codec = stream.codecpar->codec_id;
  mayBeInvented_ = (codec == AV_CODEC_ID_H264 || codec == AV_CODEC_ID_HEVC) &&
                   std::any_of(std::begin(inventing), std::end(inventing), [&](const char* name) {
                     return std::strcmp(container.name, name) == 0;
                   });
  // Raw streams, transport and program streams, and containers whose demuxers do not flag truncated
  // packets.
  constexpr int undelimited = AVFMT_GENERIC_INDEX | AVFMT_TS_DISCONT;
  const bool isUnmarked =
      std::strcmp(container.name, "nut") == 0 || std::strcmp(container.name, "asf") == 0;
  if (isUnmarked || (container.flags & undelimited) != 0) parameters_ = stream.codecpar;
}

void LastPicture::addPacket(const AVPacket& packet) {
  if (parameters_ == nullptr) return;
  const bool isKey = (packet.flags & AV_PKT_FLAG_KEY) != 0;
  if (isKey) {
    packets_.clear();
    bytes_ = 0;
  }
  if (!isKey && packets_.empty()) return;  // too much data since the last key frame
  packets_.push_back(orThrow<PacketPtr>(av_packet_clone(&packet)));
  bytes_ += static_cast<std::size_t>(packet.size);
  const bool isTooMuch = packets_.size() > mostPackets || bytes_ > mostBytes;
  if (isTooMuch && packets_.size() > 1) packets_.clear();
}

bool LastPicture::isCut(Threads threads) const {
  if (!mayBeInvented_ || packets_.empty()) return false;
  const AVPacket& last = *packets_.back();
  const std::size_t bytes = sliceEnd(last, parameters_->codec_id);
  if (bytes == 0) return false;
  const auto sumWithTail = [&](std::uint8_t tail) {
    return decode(*parameters_, packets_, *withTail(last, bytes, tail), threads);
  };
  return sumWithTail(0x55) != sumWithTail(0xAA);
}

bool LastPicture::decodes(const std::function<void(bool)>& count) const {
  if (parameters_ == nullptr) return true;
  if (packets_.empty()) return false;
  const CodecPtr decoder = newDecoder(*parameters_, Threads::own);
  refuseDamage(*decoder);
  if (avcodec_open2(decoder.get(), decoder->codec, nullptr) < 0) return false;
  const FramePtr frame = newFrame();
  const auto succeeds = [&](const AVPacket* packet) {
    int result = avcodec_send_packet(decoder.get(), packet);
    while (result >= 0) result = avcodec_receive_frame(decoder.get(), frame.get());
    return result == AVERROR(EAGAIN) || result == AVERROR_EOF;
  };
  for (std::size_t i = 0; i + 1 < packets_.size(); ++i) succeeds(packets_[i].get());
  count(true);
  const bool lastSucceeds = succeeds(packets_.back().get()) && succeeds(nullptr);
  count(false);
  return lastSucceeds;
}

}  // namespace cmhost
