#include "tests/host/cmhost/input/integrity/hostile/hostile_files.h"

#include <array>

namespace hostile {

namespace {

std::string bigEndian(std::uint64_t value, int bytes) {
  std::string text;
  for (int i = bytes - 1; i >= 0; --i) text += static_cast<char>(value >> (8 * i));
  return text;
}

std::string littleEndian(std::uint64_t value, int bytes) {
  std::string text = bigEndian(value, bytes);
  return {text.rbegin(), text.rend()};
}

std::string zeros(std::size_t count) { return std::string(count, '\0'); }

std::uint32_t crc(const std::string& bytes) {
  std::uint32_t sum = 0xFFFFFFFF;
  for (const char byte : bytes) {
    sum ^= static_cast<unsigned char>(byte);
    for (int bit = 0; bit < 8; ++bit) sum = sum >> 1 ^ ((sum & 1) != 0 ? 0xEDB88320 : 0);
  }
  return ~sum;
}

std::string chunk(const std::string& type, const std::string& content) {
  return bigEndian(content.size(), 4) + type + content + bigEndian(crc(type + content), 4);
}

std::string box(const std::string& type, const std::string& content) {
  return bigEndian(content.size() + 8, 4) + type + content;
}

// A box with a version and flags.
std::string fullBox(const std::string& type, const std::string& content) {
  return box(type, zeros(4) + content);
}

std::string sampleTables(std::uint32_t samples) {
  const std::string entry =
      box("mp4v", zeros(6) + bigEndian(1, 2) + zeros(16) + bigEndian(160, 2) + bigEndian(120, 2) +
                      bigEndian(0x480000, 4) + bigEndian(0x480000, 4) + zeros(4) + bigEndian(1, 2) +
                      zeros(32) + bigEndian(24, 2) + bigEndian(0xFFFF, 2));
  const auto numbers = [](const std::vector<std::uint32_t>& values) {
    std::string text;
    for (const std::uint32_t value : values) text += bigEndian(value, 4);
    return text;
  };
  return box("stbl", fullBox("stsd", numbers({1}) + entry) +
                         fullBox("stts", numbers({1, samples, 1})) +
                         fullBox("stsc", numbers({1, 1, samples, 1})) +
                         fullBox("stsz", numbers({1, samples})) + fullBox("stco", numbers({1, 8})));
}

std::string track(std::uint32_t number, std::uint32_t samples) {
  const std::string self =
      box("dinf", fullBox("dref", bigEndian(1, 4) + box("url ", bigEndian(1, 4))));
  const std::string media =
      fullBox("mdhd", zeros(8) + bigEndian(25, 4) + bigEndian(samples, 4) + zeros(4)) +
      fullBox("hdlr", zeros(4) + "vide" + zeros(13)) +
      box("minf", fullBox("vmhd", zeros(8)) + self + sampleTables(samples));
  return box("trak", fullBox("tkhd", zeros(8) + bigEndian(number, 4) + zeros(4) +
                                         bigEndian(samples, 4) + zeros(60)) +
                         box("mdia", media));
}

}  // namespace

std::string gif(std::uint32_t width, std::uint32_t height) {
  const std::string palette("\0\0\0\xFF\xFF\xFF", 6);
  const std::string picture = "," + zeros(4) + littleEndian(1, 2) + littleEndian(1, 2) + zeros(1) +
                              std::string("\x02\x02\x44\x01\0", 5);
  return "GIF89a" + littleEndian(width, 2) + littleEndian(height, 2) + "\x80" + zeros(2) + palette +
         picture + ";";
}

std::string png(std::uint32_t width, std::uint32_t height) {
  const std::string noBytes("\x78\x9C\x03\x00\x00\x00\x00\x01", 8);  // compressed
  return "\x89PNG\r\n\x1A\n" +
         chunk("IHDR",
               bigEndian(width, 4) + bigEndian(height, 4) + std::string("\x08\0\0\0\0", 5)) +
         chunk("IDAT", noBytes) + chunk("IEND", "");
}

std::string tiff(std::uint32_t width, std::uint32_t height) {
  const auto entry = [](std::uint32_t tag, std::uint32_t value) {
    return littleEndian(tag, 2) + littleEndian(4, 2) + littleEndian(1, 4) + littleEndian(value, 4);
  };
  constexpr std::array<std::array<std::uint32_t, 2>, 7> fixed = {
      {{258, 8}, {259, 1}, {262, 1}, {273, 8}, {277, 1}, {278, 1}, {279, 4}}};
  std::string entries = entry(256, width) + entry(257, height);
  for (const auto& [tag, value] : fixed) entries += entry(tag, value);
  return std::string("II*\0", 4) + littleEndian(8, 4) + littleEndian(fixed.size() + 2, 2) +
         entries + zeros(4);
}

std::string bmp(std::uint32_t width, std::uint32_t height) {
  return "BM" + littleEndian(58, 4) + zeros(4) + littleEndian(54, 4) + littleEndian(40, 4) +
         littleEndian(width, 4) + littleEndian(height, 4) + littleEndian(1, 2) +
         littleEndian(24, 2) + zeros(24) + zeros(4);
}

std::string jpeg(std::uint32_t width, std::uint32_t height) {
  return "\xFF\xD8\xFF\xDB" + bigEndian(67, 2) + zeros(1) + std::string(64, '\1') + "\xFF\xC0" +
         bigEndian(11, 2) + "\x08" + bigEndian(height, 2) + bigEndian(width, 2) +
         std::string("\x01\x01\x11\0", 4) + "\xFF\xDA" + bigEndian(8, 2) +
         std::string("\x01\x01\0\0\x3F\0", 6) + zeros(16) + "\xFF\xD9";
}

std::string y4m(std::uint32_t width, std::uint32_t height) {
  return "YUV4MPEG2 W" + std::to_string(width) + " H" + std::to_string(height) +
         " F25:1 Ip C420\nFRAME\n" + zeros(100);
}

std::string movie(std::uint32_t tracks, std::uint32_t samples) {
  std::string content =
      fullBox("mvhd", zeros(8) + bigEndian(25, 4) + bigEndian(samples, 4) + zeros(80));
  for (std::uint32_t i = 1; i <= tracks; ++i) content += track(i, samples);
  return box("ftyp", "isom" + bigEndian(512, 4) + "isom") + box("moov", content) +
         box("mdat", zeros(100));
}

std::string nestedBoxes(int depth) {
  std::string content = zeros(8);
  for (int i = 0; i < depth; ++i) content = box(i % 2 == 0 ? "udta" : "trak", content);
  return box("ftyp", "isom" + bigEndian(512, 4) + "isom") + box("moov", content);
}

std::string nestedElements(int depth) {
  const std::string noLength("\x01\xFF\xFF\xFF\xFF\xFF\xFF\xFF", 8);
  std::string content = "\x1A\x45\xDF\xA3\x8B\x42\x82\x88matroska\x18\x53\x80\x67" + noLength;
  const std::string two = "\x12\x54\xC3\x67" + noLength + "\x73\x73" + noLength;
  for (int i = 0; i < depth; ++i) content += two;
  return content;
}

std::string hls(const std::vector<std::string>& segments) {
  std::string text =
      "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:1\n#EXT-X-MEDIA-SEQUENCE:0\n";
  for (const std::string& segment : segments) text += "#EXTINF:0.48,\n" + segment + "\n";
  return text + "#EXT-X-ENDLIST\n";
}

std::string concat(const std::vector<std::string>& files) {
  std::string text = "ffconcat version 1.0\n";
  for (const std::string& file : files) text += "file " + file + "\n";
  return text;
}

std::string dash(const std::string& file) {
  return R"(<?xml version="1.0" encoding="UTF-8"?>
<MPD xmlns="urn:mpeg:dash:schema:mpd:2011" profiles="urn:mpeg:dash:profile:isoff-on-demand:2011"
 type="static" mediaPresentationDuration="PT0.5S" minBufferTime="PT1S">
<Period><AdaptationSet mimeType="video/mp4"><Representation id="1" bandwidth="100000" width="160"
 height="120"><BaseURL>)" +
         file + "</BaseURL></Representation></AdaptationSet></Period></MPD>\n";
}

std::string sdp() {
  return "v=0\no=- 0 0 IN IP4 127.0.0.1\ns=x\nc=IN IP4 127.0.0.1\nt=0 0\n"
         "m=video 5004 RTP/AVP 96\na=rtpmap:96 H264/90000\n";
}

std::string svg() {
  return "<?xml version=\"1.0\"?><svg xmlns=\"http://www.w3.org/2000/svg\" width=\"320\" "
         "height=\"240\"><rect width=\"100\" height=\"50\"/></svg>\n";
}

}  // namespace hostile
