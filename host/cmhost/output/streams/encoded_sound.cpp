#include "host/cmhost/output/streams/encoded_sound.h"

#include <utility>

#include "host/cmhost/output/streams/encoded_stream.h"
#include "host/cmhost/output/streams/sound_codec.h"
#include "host/cmhost/support/av_log.h"
#include "host/cmhost/support/failure.h"

namespace cmhost {

namespace {

// The first packets of a part may refer to sound before it.
constexpr std::int64_t incompletePackets = 3;

}  // namespace

std::unique_ptr<EncodedSound> EncodedSound::open(const AVStream& from, AVFormatContext& format,
                                                 const Source& source, PacketWriter writer) {
  CodecPtr decoder = openSoundDecoder(from);
  if (decoder == nullptr) return nullptr;
  CodecPtr encoder = openSoundEncoder(from, format);
  if (encoder == nullptr) return nullptr;
  return std::unique_ptr<EncodedSound>(new EncodedSound(from, format, source, std::move(writer),
                                                        std::move(decoder), std::move(encoder)));
}

EncodedSound::EncodedSound(const AVStream& from, AVFormatContext& format, const Source& source,
                           PacketWriter writer, CodecPtr decoder, CodecPtr encoder)
    : name_(streamText(from)),
      source_(source),
      writer_(std::move(writer)),
      decoder_(std::move(decoder)),
      encoder_(std::move(encoder)),
      stream_(addEncodedStream(from, *encoder_, format)),
      converter_(*encoder_, from.time_base, [this](AVFrame& frame) { encode(&frame); }),
      frame_(newFrame()),
      packet_(newPacket()) {}

std::string EncodedSound::text() const { return soundText(*encoder_); }

void EncodedSound::add(const AVPacket& packet) {
  ++packets_;
  decode(&packet);
}

void EncodedSound::finish() {
  if (packets_ == 0) return;
  decode(nullptr);
  if (!hasSound_) source_.damaged(name_ + ": no sound could be decoded");
  converter_.finish();
  encode(nullptr);
}

void EncodedSound::decode(const AVPacket* packet) {
  for (bool isSent = false;;) {
    std::string damage;
    bool isFrame = false;
    {
      const AvErrorScope errors;
      int result = 0;
      if (!std::exchange(isSent, true)) result = avcodec_send_packet(decoder_.get(), packet);
      if (result >= 0) {
        result = avcodec_receive_frame(decoder_.get(), frame_.get());
        isFrame = result >= 0;
        if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) {
          if (errors.first().empty()) return;
          result = 0;
        }
      }
      damage = errors.first();
      if (result < 0 && damage.empty()) damage = avErrorReason(result);
    }
    const bool isFlagged = isFrame && (frame_->decode_error_flags != 0 ||
                                       (frame_->flags & AV_FRAME_FLAG_CORRUPT) != 0);
    if (damage.empty() && isFlagged) damage = "incomplete frame";
    if (isFrame) {
      hasSound_ = true;
      if (!converter_.add(*frame_) && damage.empty())
        damage = "the format of the sound changes to one that is not supported";
      av_frame_unref(frame_.get());
    }
    if (!damage.empty()) reportDamage(damage);
    if (!isFrame) return;
  }
}

void EncodedSound::reportDamage(const std::string& what) {
  if (source_.mayBeginIncomplete && packets_ <= incompletePackets) return;
  source_.damaged(name_ + ": " + what);
}

void EncodedSound::encode(const AVFrame* frame) {
  int result = avcodec_send_frame(encoder_.get(), frame);
  while (result >= 0) {
    result = avcodec_receive_packet(encoder_.get(), packet_.get());
    if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return;
    if (result < 0) break;
    packet_->stream_index = stream_.index;
    av_packet_rescale_ts(packet_.get(), encoder_->time_base, stream_.time_base);
    writer_(*packet_);
  }
  throw Failure(name_ + ": the encoder " + encoder_->codec->name +
                " failed: " + avErrorReason(result));
}

}  // namespace cmhost
