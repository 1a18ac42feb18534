#include "host/cmhost/file_structure.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <iterator>

namespace cmhost {

namespace {

constexpr std::int64_t unknown = -1;

// Reads `count` bytes at `offset`; false where the file has fewer.
bool readAt(int file, std::int64_t offset, unsigned char* bytes, std::size_t count) {
  return offset >= 0 && ::pread(file, bytes, count, offset) == static_cast<ssize_t>(count);
}

std::uint64_t bigEndian(const unsigned char* bytes, int count) {
  std::uint64_t value = 0;
  for (int i = 0; i < count; ++i) value = value << 8 | bytes[i];
  return value;
}

std::uint64_t littleEndian32(const unsigned char* bytes) {
  return bytes[0] | bytes[1] << 8 | bytes[2] << 16 | static_cast<std::uint64_t>(bytes[3]) << 24;
}

// Sums that leave 63 bits are no sizes.
std::int64_t end(std::int64_t start, std::uint64_t size) {
  return size < (std::uint64_t{1} << 62) ? start + static_cast<std::int64_t>(size) : unknown;
}

// Matroska: elements of an identifier, a length and the content. The length's first byte tells by
// its leading zeros how many bytes it has; all ones is a length not known.
std::int64_t matroskaSize(int file) {
  constexpr std::uint64_t segment = 0x18538067;
  std::int64_t offset = 0;
  for (int element = 0; element < 16; ++element) {
    unsigned char head[12] = {};
    if (!readAt(file, offset, head, sizeof head) || head[0] == 0) return unknown;
    const int idBytes = __builtin_clz(head[0]) - 23;
    if (idBytes > 4) return unknown;
    const unsigned char* const length = head + idBytes;
    if (*length == 0) return unknown;
    const int lengthBytes = __builtin_clz(*length) - 23;
    const std::uint64_t mask = (std::uint64_t{1} << (7 * lengthBytes)) - 1;
    const std::uint64_t size = bigEndian(length, lengthBytes) & mask;
    if (size == mask) return unknown;
    offset = end(offset + idBytes + lengthBytes, size);
    if (offset == unknown || bigEndian(head, idBytes) == segment) return offset;
  }
  return unknown;
}

// MP4 and QuickTime: boxes of a length, a type and the content, one after another. Length 1 puts
// the real one behind the type, length 0 means up to the end of the file.
std::int64_t mp4Size(int file) {
  static constexpr const char* types[] = {"ftyp", "moov", "mdat", "free", "skip", "wide",
                                          "moof", "mfra", "sidx", "styp", "uuid", "pnot",
                                          "udta", "meta", "emsg", "prft", "ssix"};
  std::int64_t offset = 0;
  unsigned char head[16];
  while (offset != unknown && readAt(file, offset, head, 8)) {
    const bool known = std::any_of(std::begin(types), std::end(types), [&](const char* type) {
      return std::memcmp(head + 4, type, 4) == 0;
    });
    if (!known) break;  // what follows is no part of the container
    std::uint64_t size = bigEndian(head, 4);
    if (size == 1) {
      if (!readAt(file, offset, head, 16)) return unknown;
      size = bigEndian(head + 8, 8);
    }
    if (size < 8) return unknown;
    offset = end(offset, size);
  }
  return offset > 0 ? offset : unknown;
}

// AVI: chunks RIFF of a length and the content, more than one in a long file.
std::int64_t aviSize(int file) {
  std::int64_t offset = 0;
  unsigned char head[12];
  while (readAt(file, offset, head, sizeof head) && std::memcmp(head, "RIFF", 4) == 0 &&
         std::memcmp(head + 8, "AVI", 3) == 0) {
    const std::uint64_t size = littleEndian32(head + 4);
    if (size == 0) return unknown;
    offset += static_cast<std::int64_t>(size + (size & 1)) + 8;
  }
  return offset > 0 ? offset : unknown;
}

// MPEG transport stream: packets of 188 bytes that begin with 0x47, behind a time stamp of 4 bytes
// on discs. Only a file of whole packets is whole.
std::int64_t transportStreamSize(int file) {
  const auto hasPackets = [file](std::int64_t sync, std::int64_t length) {
    unsigned char byte = 0;
    for (int packet = 0; packet < 3; ++packet)
      if (!readAt(file, sync + packet * length, &byte, 1) || byte != 0x47) return false;
    return true;
  };
  const std::int64_t length = hasPackets(0, 188) ? 188 : hasPackets(4, 192) ? 192 : 0;
  const std::int64_t size = ::lseek(file, 0, SEEK_END);
  return length == 0 || size < 0 ? unknown : (size + length - 1) / length * length;
}

}  // namespace

std::int64_t declaredSize(int file) {
  unsigned char head[8];
  if (!readAt(file, 0, head, sizeof head)) return unknown;
  if (bigEndian(head, 4) == 0x1A45DFA3) return matroskaSize(file);
  if (std::memcmp(head, "RIFF", 4) == 0) return aviSize(file);
  const std::int64_t size = mp4Size(file);
  return size != unknown ? size : transportStreamSize(file);
}

}  // namespace cmhost
