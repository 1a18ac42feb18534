#include "host/cmhost/input/memory_limits.h"

extern "C" {
#include <libavutil/imgutils.h>
}

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <new>
#include <thread>
#include <utility>
#include <vector>

#include "host/cmhost/support/av_versions.h"
#include "host/cmhost/support/dictionary.h"
#include "host/cmhost/support/failure.h"
#include "host/cmhost/support/memory_cap.h"
#include "host/cmhost/support/threads.h"

namespace cmhost {

namespace {

constexpr std::int64_t gibibyte = std::int64_t{1} << 30;

// The media library's log line about a frame above the limit.
constexpr const char* tooLargeBegin = "Picture size ";
constexpr const char* tooLargeEnd = " exceeds specified max pixel count";

std::string gibibytes(std::int64_t bytes) {
  return std::to_string((bytes + gibibyte - 1) / gibibyte) + " GiB";
}

}  // namespace

struct MemoryLimits::Pictures {
  std::int64_t most = 0;
  std::atomic<std::int64_t> bytes{0};
  std::atomic<bool> tooMany{false};
};

// A buffer of the media library that counts towards the limit during its lifetime.
struct MemoryLimits::CountedBuffer {
  AVBufferRef* kept;
  std::shared_ptr<Pictures> pictures;

  static void release(void* self, std::uint8_t* /*data*/) {
    const std::unique_ptr<CountedBuffer> buffer(static_cast<CountedBuffer*>(self));
    buffer->pictures->bytes -= static_cast<std::int64_t>(buffer->kept->size);
    av_buffer_unref(&buffer->kept);
  }
};

MemoryLimits::MemoryLimits(std::string input, std::int64_t maxPixels)
    : input_(std::move(input)), maxPixels_(maxPixels), pictures_(std::make_shared<Pictures>()) {
  pictures_->most = pictureBytes(maxPixels);
}

std::int64_t MemoryLimits::pictureBytes(std::int64_t maxPixels) {
  constexpr std::int64_t bytesPerPixel = 64;
  return std::max(maxPixels * bytesPerPixel, gibibyte);
}

// Decoders round frame sizes up to complete blocks.
std::int64_t MemoryLimits::decoderPixels() const { return maxPixels_ + maxPixels_ / 4 + (1 << 16); }

// The media library decodes some frames here. Streams that it finds during this call do not have
// these options.
int MemoryLimits::findStreams(AVFormatContext& format) const {
  const MemoryCap cap(pictures_->most);
  const std::string pixels = std::to_string(decoderPixels());
  std::vector<AVDictionary*> options(format.nb_streams, nullptr);
  for (AVDictionary*& each : options) av_dict_set(&each, "max_pixels", pixels.c_str(), 0);
  const int result = avformat_find_stream_info(&format, options.empty() ? nullptr : options.data());
  for (AVDictionary*& each : options) av_dict_free(&each);
  if (result == AVERROR(ENOMEM))
    throw Failure(input_ + ": probing the streams needs more than " + gibibytes(pictures_->most) +
                  " of memory; raise the limit with --max-pixels");
  return result;
}

void MemoryLimits::failTooLarge(const std::string& size) const {
  throw Failure(input_ + ": the frame size " + size + " exceeds the limit of " +
                std::to_string(maxPixels_) + " pixels; raise the limit with --max-pixels");
}

void MemoryLimits::check(int width, int height) const {
  if (std::int64_t{width} * height > maxPixels_)
    failTooLarge(std::to_string(width) + "x" + std::to_string(height));
}

bool MemoryLimits::isTooLarge(const std::string& logged) {
  return logged.find(tooLargeEnd) != std::string::npos;
}

void MemoryLimits::check(const std::string& reason) const {
  const std::size_t end = reason.find(tooLargeEnd);
  const std::size_t begin = reason.rfind(tooLargeBegin, end);
  if (end != std::string::npos && begin != std::string::npos) {
    const std::size_t size = begin + std::string(tooLargeBegin).size();
    failTooLarge(reason.substr(size, end - size));
  }
  if (pictures_->tooMany)
    throw Failure(input_ + ": the decoder holds more than " + gibibytes(pictures_->most) +
                  " of frames; raise the limit with --max-pixels");
}

void MemoryLimits::limit(AVCodecContext& decoder, int threads) {
  const AVPixelFormat format =
      decoder.pix_fmt != AV_PIX_FMT_NONE ? decoder.pix_fmt : AV_PIX_FMT_YUV420P;
  decoder.max_pixels = decoderPixels();
  decoder.thread_count =
      threadsFor(av_image_get_buffer_size(format, decoder.width, decoder.height, 1), threads);
  decoder.opaque = &pictures_;
  decoder.get_buffer2 = &MemoryLimits::getBuffer;
  allowCallsFromThreads(decoder);
}

int MemoryLimits::getBuffer(AVCodecContext* decoder, AVFrame* frame, int flags) {
  const int result = avcodec_default_get_buffer2(decoder, frame, flags);
  if (result < 0) return result;
  for (AVBufferRef*& buffer : frame->buf) {
    if (buffer == nullptr) continue;
    AVBufferRef* const counting =
        counted(buffer, *static_cast<std::shared_ptr<Pictures>*>(decoder->opaque));
    if (counting == nullptr) return AVERROR(ENOMEM);  // the caller frees the frame
    buffer = counting;
  }
  return 0;
}

// Returns a reference that replaces `buffer`, or null if the limit is exceeded.
AVBufferRef* MemoryLimits::counted(AVBufferRef* buffer, const std::shared_ptr<Pictures>& pictures) {
  const auto size = static_cast<std::int64_t>(buffer->size);
  if ((pictures->bytes += size) <= pictures->most) {
    auto* const owner = new (std::nothrow) CountedBuffer{buffer, pictures};
    AVBufferRef* const result =
        owner != nullptr
            ? av_buffer_create(buffer->data, buffer->size, &CountedBuffer::release, owner, 0)
            : nullptr;
    if (result != nullptr) return result;
    delete owner;
  } else {
    pictures->tooMany = true;
  }
  pictures->bytes -= size;
  return nullptr;
}

}  // namespace cmhost
