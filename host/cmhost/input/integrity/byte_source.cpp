#include "host/cmhost/input/integrity/byte_source.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>

namespace cmhost {

bool FileBytes::read(std::int64_t offset, unsigned char* to, std::size_t count) const {
  const auto wanted = static_cast<std::int64_t>(count);
  if (offset < 0 || wanted > size_ || offset > size_ - wanted) return false;
  return ::pread(file_, to, count, offset) == wanted;
}

// Raw video is large and has no end marker, so its tail is not kept.
bool PassedBytes::hasTail() const {
  static constexpr char rawVideo[] = "YUV4MPEG2";
  constexpr std::size_t length = sizeof rawVideo - 1;
  return head_.size() < length || std::memcmp(head_.data(), rawVideo, length) != 0;
}

void PassedBytes::add(const unsigned char* bytes, std::size_t count) {
  const std::size_t toHead = std::min(count, headBytes - head_.size());
  head_.insert(head_.end(), bytes, bytes + toHead);
  if (hasTail()) {
    ring_.resize(tailBytes);
    const std::size_t skipped = count - std::min(count, tailBytes);
    for (std::size_t at = skipped; at < count;) {
      const std::size_t place = (static_cast<std::size_t>(size_) + at) % tailBytes;
      const std::size_t part = std::min(count - at, tailBytes - place);
      std::memcpy(&ring_[place], bytes + at, part);
      at += part;
    }
  }
  size_ += static_cast<std::int64_t>(count);
}

bool PassedBytes::read(std::int64_t offset, unsigned char* to, std::size_t count) const {
  const auto wanted = static_cast<std::int64_t>(count);
  if (offset < 0 || wanted > size_ || offset > size_ - wanted) return false;
  if (offset + wanted <= static_cast<std::int64_t>(head_.size())) {
    std::memcpy(to, head_.data() + offset, count);
    return true;
  }
  if (!hasTail() || offset < size_ - static_cast<std::int64_t>(tailBytes)) return false;
  for (std::size_t at = 0; at < count; ++at)
    to[at] = ring_[(static_cast<std::size_t>(offset) + at) % tailBytes];
  return true;
}

}  // namespace cmhost
