#include "host/cmhost/picture/frame_packing.h"

#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <utility>

#include "host/cmhost/support/failure.h"

namespace cmhost {

namespace {

class DecodedFrame final : public lumbase::object_refcount {
 public:
  using Pointer = QOR::RPtr<const DecodedFrame>;

  DecodedFrame(FramePtr frame, std::int64_t number) : frame_(std::move(frame)), number_(number) {}
  const AVFrame& frame() const { return *frame_; }
  std::int64_t number() const { return number_; }

 private:
  ~DecodedFrame() override = default;

  FramePtr frame_;
  std::int64_t number_;
};

const DecodedFrame& propertiesOf(const QOR::CM::RFrame& put) {
  const auto& frame = dynamic_cast<const cm::VideoFrame&>(put);
  return dynamic_cast<const DecodedFrame&>(*frame.properties());
}

const std::uint8_t* row(const AVFrame& frame, int plane, std::size_t y) {
  return frame.data[plane] + static_cast<std::ptrdiff_t>(y) * frame.linesize[plane];
}

std::uint8_t* row(AVFrame& frame, int plane, std::size_t y) {
  return frame.data[plane] + static_cast<std::ptrdiff_t>(y) * frame.linesize[plane];
}

bool sameChroma(const PictureLayout& layout, int width, int height) {
  return ((width & layout.shiftX) | (height & layout.shiftY)) == 0;
}

// Whether the planes are contiguous, as the contract defines.
bool isPacked(const AVFrame& frame, const PictureLayout& layout) {
  if (!sameChroma(layout, frame.width, frame.height)) return false;
  const std::uint8_t* next = frame.data[0];
  for (int plane = 0; plane < 3; ++plane) {
    const PlaneSize size = modulePlane(layout, frame.width, frame.height, plane);
    if (frame.data[plane] != next ||
        frame.linesize[plane] != static_cast<std::ptrdiff_t>(size.width))
      return false;
    next += size.width * size.height;
  }
  return true;
}

void releaseFrame(void* kept, std::uint8_t* /*data*/) {
  delete static_cast<QOR::RPtr<const QOR::CM::RFrame>*>(kept);
}

// Makes `to` refer to the pixel data of `frame` and keep it alive.
void referTo(const cm::VideoFrame& frame, const PictureLayout& layout, AVFrame& to) {
  auto kept = std::make_unique<QOR::RPtr<const QOR::CM::RFrame>>(
      static_cast<const QOR::CM::RFrame*>(&frame));
  const std::size_t bytes = frame.size() + (frame.isPadded() ? cm::PicturePool::padding : 0);
  to.buf[0] =
      av_buffer_create(frame.data(), bytes, &releaseFrame, kept.get(), AV_BUFFER_FLAG_READONLY);
  if (to.buf[0] == nullptr) throw std::bad_alloc();
  static_cast<void>(kept.release());  // owned by the buffer now
  std::uint8_t* next = frame.data();
  for (int plane = 0; plane < 3; ++plane) {
    const PlaneSize size = modulePlane(layout, to.width, to.height, plane);
    to.data[plane] = next;
    to.linesize[plane] = static_cast<int>(size.width);
    next += size.width * size.height;
  }
}

}  // namespace

unsigned int packedSize(const PictureLayout& layout, int width, int height) {
  std::size_t bytes = 0;
  for (int plane = 0; plane < 3; ++plane) {
    const PlaneSize size = modulePlane(layout, width, height, plane);
    bytes += size.width * size.height;
  }
  if (bytes > std::numeric_limits<unsigned int>::max())
    throw Failure("frames of " + std::to_string(width) + "x" + std::to_string(height) +
                  " are too large for a module (limit: 4 GiB)");
  return static_cast<unsigned int>(bytes);
}

QOR::RPtr<cm::VideoFrame> packFrame(FramePtr decoded, const PictureLayout& layout,
                                    std::int64_t number, bool keepPicture,
                                    std::shared_ptr<cm::PicturePool> pool) {
  const AVFrame& from = *decoded;
  const unsigned int bytes = packedSize(layout, from.width, from.height);
  const bool attachPicture = keepPicture || !sameChroma(layout, from.width, from.height);
  const DecodedFrame::Pointer owner(new DecodedFrame(std::move(decoded), number));
  const DecodedFrame::Pointer properties =
      attachPicture ? owner : DecodedFrame::Pointer(new DecodedFrame(emptyFrameLike(from), number));
  if (isPacked(from, layout))
    return cm::VideoFrame::wrap(layout.fourcc, bytes, from.data[0], properties, owner,
                                std::move(pool));
  QOR::RPtr<cm::VideoFrame> frame =
      cm::VideoFrame::create(layout.fourcc, bytes, properties, std::move(pool));
  unsigned char* to = frame->data();
  for (int plane = 0; plane < 3; ++plane) {
    const PlaneSize size = modulePlane(layout, from.width, from.height, plane);
    for (std::size_t y = 0; y < size.height; ++y, to += size.width)
      std::memcpy(to, row(from, plane, y), size.width);
  }
  return frame;
}

FramePtr unpackFrame(const QOR::CM::RFrame* put, const PictureLayout& layout) {
  if (put == nullptr) throw Failure("the module returned an empty frame");
  const auto* const frame = dynamic_cast<const cm::VideoFrame*>(put);
  const auto* const properties =
      frame != nullptr ? dynamic_cast<const DecodedFrame*>(frame->properties().get()) : nullptr;
  if (properties == nullptr)
    throw Failure("the module returned a frame that the host did not create");
  const AVFrame& decoded = properties->frame();
  if (frame->fourcc() != layout.fourcc ||
      frame->size() != packedSize(layout, decoded.width, decoded.height))
    throw Failure("the module returned a frame of " + std::to_string(frame->size()) +
                  " bytes in the layout '" + fourccText(frame->fourcc()) + "'; expected " +
                  std::to_string(packedSize(layout, decoded.width, decoded.height)) +
                  " bytes in the layout '" + fourccText(layout.fourcc) + "'");

  FramePtr result = emptyFrameLike(decoded);
  result->format = layout.pixelFormat;
  if (sameChroma(layout, decoded.width, decoded.height)) {
    referTo(*frame, layout, *result);
    return result;
  }
  allocatePicture(*result);

  const unsigned char* from = frame->data();
  for (int plane = 0; plane < 3; ++plane) {
    const PlaneSize seen = modulePlane(layout, decoded.width, decoded.height, plane);
    const PlaneSize whole = filePlane(layout, decoded.width, decoded.height, plane);
    for (std::size_t y = 0; y < whole.height; ++y) {
      const std::size_t width = y < seen.height ? seen.width : 0;
      std::memcpy(row(*result, plane, y), from, width);
      std::memcpy(row(*result, plane, y) + width, row(decoded, plane, y) + width,
                  whole.width - width);
      from += width;
    }
  }
  return result;
}

const AVFrame& decodedFrameOf(const QOR::CM::RFrame& put) { return propertiesOf(put).frame(); }

std::int64_t frameNumberOf(const QOR::CM::RFrame& put) { return propertiesOf(put).number(); }

}  // namespace cmhost
