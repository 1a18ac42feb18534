#include "host/cmhost/input/integrity/file_structure.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <map>
#include <numeric>
#include <vector>

namespace cmhost {

namespace {

constexpr std::int64_t unknown = -1;

std::uint64_t bigEndian(const unsigned char* bytes, int count) {
  std::uint64_t value = 0;
  for (int i = 0; i < count; ++i) value = value << 8 | bytes[i];
  return value;
}

std::uint64_t littleEndian(const unsigned char* bytes, int count) {
  std::uint64_t value = 0;
  for (int i = count - 1; i >= 0; --i) value = value << 8 | bytes[i];
  return value;
}

// A sum that overflows is not a valid size.
std::int64_t end(std::int64_t start, std::uint64_t size) {
  std::int64_t sum = 0;
  return start < 0 || __builtin_add_overflow(start, size, &sum) ? unknown : sum;
}

// MP4 and QuickTime: a sequence of boxes, each with a length, a type and the content. Length 1
// means that a 64-bit length follows the type; length 0 means that the box extends to the end of
// the file.
std::int64_t mp4Size(const ByteSource& file) {
  static constexpr const char* types[] = {"ftyp", "moov", "mdat", "free", "skip", "wide",
                                          "moof", "mfra", "sidx", "styp", "uuid", "pnot",
                                          "udta", "meta", "emsg", "prft", "ssix"};
  std::int64_t offset = 0;
  unsigned char head[16];
  while (offset != unknown && file.read(offset, head, 8)) {
    const bool known = std::any_of(std::begin(types), std::end(types), [&](const char* type) {
      return std::memcmp(head + 4, type, 4) == 0;
    });
    if (!known) break;  // not part of the container
    std::uint64_t size = bigEndian(head, 4);
    if (size == 1) {
      if (!file.read(offset, head, 16)) return unknown;
      size = bigEndian(head + 8, 8);
    }
    if (size < 8) return unknown;
    offset = end(offset, size);
  }
  return offset > 0 ? offset : unknown;
}

// AVI: RIFF chunks, each with a length and the content; a long file has several. The length is
// written when the file is finalized, so files written to a pipe do not have it.
std::int64_t aviSize(const ByteSource& file) {
  constexpr std::uint64_t unfinished = 0xFFFFFFFF;
  std::int64_t offset = 0;
  unsigned char head[12];
  while (file.read(offset, head, sizeof head) && std::memcmp(head, "RIFF", 4) == 0 &&
         std::memcmp(head + 8, "AVI", 3) == 0) {
    const std::uint64_t size = littleEndian(head + 4, 4);
    if (size == 0 || size == unfinished) return unknown;
    offset += static_cast<std::int64_t>(size + (size & 1)) + 8;
  }
  return offset > 0 ? offset : unknown;
}

// MPEG transport stream: packets of 188 bytes that start with 0x47; on discs, a 4-byte time stamp
// precedes each packet. A complete file consists of complete packets.
std::int64_t transportStreamSize(const ByteSource& file) {
  const auto hasPackets = [&file](std::int64_t sync, std::int64_t length) {
    unsigned char byte = 0;
    for (int packet = 0; packet < 3; ++packet)
      if (!file.read(sync + packet * length, &byte, 1) || byte != 0x47) return false;
    return true;
  };
  const std::int64_t length = hasPackets(0, 188) ? 188 : hasPackets(4, 192) ? 192 : 0;
  const std::int64_t size = file.size();
  return length == 0 || size < 0 ? unknown : (size + length - 1) / length * length;
}

// ASF: objects with an identifier, a length and the content. The first one contains others, one of
// which declares the size of the file, unless it was streamed live.
std::int64_t asfSize(const ByteSource& file) {
  static constexpr unsigned char fileProperties[] = {0xA1, 0xDC, 0xAB, 0x8C, 0x47, 0xA9,
                                                     0xCF, 0x11, 0x8E, 0xE4, 0x00, 0xC0,
                                                     0x0C, 0x20, 0x53, 0x65};
  std::int64_t offset = 30;
  unsigned char head[92];
  for (int object = 0; object < 64 && file.read(offset, head, 24); ++object) {
    if (std::memcmp(head, fileProperties, sizeof fileProperties) == 0) {
      if (!file.read(offset, head, sizeof head)) return unknown;
      const bool live = (head[88] & 1) != 0;
      return live ? unknown : end(0, littleEndian(head + 40, 8));
    }
    offset = end(offset, littleEndian(head + 16, 8));
  }
  return unknown;
}

// FLV: tags with a type, a length and the content, each followed by its size.
std::int64_t flvSize(const ByteSource& file) {
  constexpr std::int64_t sizeBytes = 4;
  constexpr std::int64_t headBytes = 11;
  const std::int64_t size = file.size();
  unsigned char last[sizeBytes];
  unsigned char head[4];
  if (!file.read(size - sizeBytes, last, sizeof last)) return unknown;
  const auto length = static_cast<std::int64_t>(bigEndian(last, sizeBytes));
  if (length < headBytes || length > size - sizeBytes) return size + 1;
  if (!file.read(size - sizeBytes - length, head, sizeof head)) return unknown;
  const int type = head[0] & 0x1F;
  const bool isTag = type == 8 || type == 9 || type == 18;
  return isTag && static_cast<std::int64_t>(bigEndian(head + 1, 3)) == length - headBytes
             ? size
             : size + 1;
}

// NUT: the file ends with an index, whose length is stored before the checksum at its end.
std::int64_t nutSize(const ByteSource& file) {
  constexpr std::uint64_t indexCode = 0x4E58DD672F23E64E;
  constexpr std::int64_t endBytes = 12;
  const std::int64_t size = file.size();
  unsigned char bytes[endBytes];
  if (!file.read(size - endBytes, bytes, sizeof bytes)) return unknown;
  const std::uint64_t length = bigEndian(bytes, 8);
  if (length < 8 + endBytes || length > static_cast<std::uint64_t>(size)) return size + 1;
  if (!file.read(size - static_cast<std::int64_t>(length), bytes, 8)) return unknown;
  return bigEndian(bytes, 8) == indexCode ? size : size + 1;
}

// MXF: items with a 16-byte key, a length and the content.
struct MxfItem {
  std::int64_t content = unknown;
  std::int64_t end = unknown;  // `unknown` if there is no item
  bool isPartition = false;
};

MxfItem mxfItemAt(const ByteSource& file, std::int64_t offset) {
  static constexpr unsigned char partition[] = {0x06, 0x0E, 0x2B, 0x34, 0x02, 0x05, 0x01,
                                                0x01, 0x0D, 0x01, 0x02, 0x01, 0x01};
  MxfItem item;
  unsigned char head[25];
  if (!file.read(offset, head, 17) || std::memcmp(head, partition, 4) != 0) return item;
  const int lengthBytes = head[16] < 0x80 ? 0 : head[16] - 0x80;
  if (lengthBytes > 8 || !file.read(offset, head, 17 + static_cast<std::size_t>(lengthBytes)))
    return item;
  item.content = offset + 17 + lengthBytes;
  item.end = end(item.content, lengthBytes == 0 ? head[16] : bigEndian(head + 17, lengthBytes));
  item.isPartition = std::memcmp(head, partition, sizeof partition) == 0;
  return item;
}

// The first item gives the offset of the footer partition, unless the file was not finalized.
std::int64_t mxfSize(const ByteSource& file) {
  unsigned char fields[48];
  const MxfItem header = mxfItemAt(file, 0);
  if (!header.isPartition || !file.read(header.content, fields, sizeof fields)) return unknown;
  const std::uint64_t footerOffset = bigEndian(fields + 24, 8);
  const std::int64_t footerBegin = end(0, footerOffset);
  if (footerOffset == 0 || footerBegin == unknown) return unknown;

  const std::int64_t size = file.size();
  const std::int64_t atLeast = end(footerBegin, 17 + sizeof fields);
  if (atLeast == unknown || size < atLeast) return atLeast;
  const MxfItem footer = mxfItemAt(file, footerBegin);
  if (!footer.isPartition || footer.end == unknown) return unknown;
  std::int64_t offset = footer.end;
  for (MxfItem item = footer; item.end != unknown; item = mxfItemAt(file, offset))
    offset = item.end;
  if (!file.read(footer.content, fields, sizeof fields)) return footer.end;
  const std::int64_t metadataEnd = end(footer.end, bigEndian(fields + 32, 8));
  const std::uint64_t index = bigEndian(fields + 40, 8);
  return metadataEnd == unknown ? unknown : std::max(offset, end(metadataEnd, index));
}

// The last bytes of a file and their offset.
struct Tail {
  std::int64_t begin = 0;
  std::vector<unsigned char> bytes;
};

Tail readTail(const ByteSource& file) {
  constexpr auto mostBytes = static_cast<std::int64_t>(PassedBytes::tailBytes);
  const std::int64_t size = file.size();
  Tail tail;
  tail.begin = std::max<std::int64_t>(0, size - mostBytes);
  tail.bytes.resize(static_cast<std::size_t>(size - tail.begin));
  if (!file.read(tail.begin, tail.bytes.data(), tail.bytes.size())) tail.bytes.clear();
  return tail;
}

// The length of an Ogg page of which `left` bytes are available. This is a lower bound if the
// header is incomplete.
std::size_t oggPageLength(const unsigned char* page, std::size_t left) {
  constexpr std::size_t headBytes = 27;
  if (left < headBytes) return headBytes;
  const std::size_t tableEnd = headBytes + page[headBytes - 1];
  if (left < tableEnd) return tableEnd;
  return std::accumulate(page + headBytes, page + tableEnd, tableEnd);
}

// Ogg: pages with a header, a table of segment lengths and the content. The last page of each
// stream is flagged.
std::int64_t oggSize(const ByteSource& file) {
  constexpr std::uint64_t capture = 0x4F676753;
  const Tail tail = readTail(file);
  const std::vector<unsigned char>& bytes = tail.bytes;
  std::map<std::uint64_t, bool> ended;  // by the stream's number
  std::size_t at = 0;
  while (at + 4 <= bytes.size()) {
    if (bigEndian(&bytes[at], 4) != capture) {
      ++at;
      continue;
    }
    const std::size_t left = bytes.size() - at;
    const std::size_t length = oggPageLength(&bytes[at], left);
    if (length > left) return tail.begin + static_cast<std::int64_t>(at + length);
    ended[littleEndian(&bytes[at + 14], 4)] = (bytes[at + 5] & 4) != 0;
    at += length;
  }
  if (ended.empty()) return unknown;
  const bool whole =
      std::all_of(ended.begin(), ended.end(), [](const auto& stream) { return stream.second; });
  const std::int64_t size = tail.begin + static_cast<std::int64_t>(bytes.size());
  return whole ? size : size + 1;
}

// The length of an element of an MPEG program stream of which `left` bytes are available. This is a
// lower bound if the header is incomplete; 0 if this is not an element.
std::size_t programElementLength(const unsigned char* element, std::size_t left) {
  const std::uint64_t code = bigEndian(element, 4);
  if (code == 0x1B9) return 4;
  if (code == 0x1BA) {
    const bool mpeg2 = left > 4 && (element[4] & 0xC0) == 0x40;
    return !mpeg2 ? 12 : left < 14 ? 14 : 14 + (element[13] & 7U);
  }
  if (code < 0x1BB || code > 0x1FF) return 0;
  return left < 6 ? 6 : 6 + bigEndian(element + 4, 2);
}

// GIF: blocks, each terminated by an empty sub-block, and a trailer byte. Some writers pad the file
// with zeros.
std::int64_t gifSize(const ByteSource& file) {
  const Tail tail = readTail(file);
  auto last = std::find_if(tail.bytes.rbegin(), tail.bytes.rend(),
                           [](unsigned char byte) { return byte != 0; });
  const bool whole = tail.bytes.rend() - last >= 2 && last[0] == 0x3B && last[1] == 0;
  return whole ? file.size() : file.size() + 1;
}

// PNG and APNG end with an empty IEND chunk.
std::int64_t pngSize(const ByteSource& file) {
  static constexpr unsigned char lastChunk[] = {0,   0,   0,    0,    'I',  'E',
                                                'N', 'D', 0xAE, 0x42, 0x60, 0x82};
  const Tail tail = readTail(file);
  const bool whole = std::search(tail.bytes.begin(), tail.bytes.end(), std::begin(lastChunk),
                                 std::end(lastChunk)) != tail.bytes.end();
  return whole ? file.size() : file.size() + 1;
}

// MPEG program stream: packs and packets that start with a start code; packets store their length
// after it. Parsing starts at the first pack in the tail.
std::int64_t programStreamSize(const ByteSource& file) {
  static constexpr unsigned char pack[] = {0x00, 0x00, 0x01, 0xBA};
  const Tail tail = readTail(file);
  const std::vector<unsigned char>& bytes = tail.bytes;
  const auto first = std::search(bytes.begin(), bytes.end(), std::begin(pack), std::end(pack));
  auto at = static_cast<std::size_t>(first - bytes.begin());
  while (at + 4 <= bytes.size()) {
    const std::size_t left = bytes.size() - at;
    const std::size_t length = programElementLength(&bytes[at], left);
    if (length > left) return tail.begin + static_cast<std::int64_t>(at + length);
    if (length == 0) break;  // unknown data, or padding after the end
    at += length;
  }
  return unknown;
}

}  // namespace

std::int64_t declaredSize(const ByteSource& file) {
  unsigned char head[8];
  if (!file.read(0, head, sizeof head)) return unknown;
  switch (bigEndian(head, 4)) {
    case 0x3026B275:
      return asfSize(file);
    case 0x060E2B34:
      return mxfSize(file);
    case 0x47494638:  // "GIF8"
      return gifSize(file);
    case 0x89504E47:
      return pngSize(file);
    case 0x6E75742F:  // "nut/"
      return nutSize(file);
    case 0x4F676753:  // "OggS"
      return oggSize(file);
    case 0x52494646:  // "RIFF"
      return aviSize(file);
    case 0x464C5601:  // "FLV", version 1
      return flvSize(file);
    case 0x000001BA:
      return programStreamSize(file);
    default:
      break;
  }
  const std::int64_t size = mp4Size(file);
  return size != unknown ? size : transportStreamSize(file);
}

}  // namespace cmhost
