#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/pixfmt.h>
}

#include <array>
#include <cstdint>
#include <string>
#include <vector>

/// Clips that tests make and look into. Nothing here knows the program under test.
namespace clip {

using Bytes = std::vector<std::uint8_t>;

/// One picture, planes without padding, chroma sizes rounded up as files have them.
struct Picture {
  int width = 0;
  int height = 0;
  AVPixelFormat format = AV_PIX_FMT_NONE;
  std::array<Bytes, 3> planes;
  std::int64_t pts = 0;  ///< in the stream's time base
};

/// What a video stream says about itself.
struct Tags {
  AVRational rate = {25, 1};
  AVRational timeBase = {1, 25};
  AVRational sampleAspect = {1, 1};
  AVColorRange range = AVCOL_RANGE_UNSPECIFIED;
  AVColorPrimaries primaries = AVCOL_PRI_UNSPECIFIED;
  AVColorTransferCharacteristic transfer = AVCOL_TRC_UNSPECIFIED;
  AVColorSpace matrix = AVCOL_SPC_UNSPECIFIED;
  AVChromaLocation chroma = AVCHROMA_LOC_UNSPECIFIED;
  AVFieldOrder fieldOrder = AV_FIELD_PROGRESSIVE;
  double rotation = 0;  ///< degrees that pictures are to be turned by; only written
};

struct Packet {
  Bytes data;
  double seconds = 0;
};

struct Clip {
  Tags tags;
  std::vector<Picture> pictures;
  std::vector<bool> interlaced;     ///< of each picture
  std::vector<bool> topFieldFirst;  ///< of each picture
  std::vector<Packet> audio;        ///< PCM packets as they are
  std::vector<Packet> subtitles;    ///< packets as they are
  std::string encoder;              ///< codec of the video
  int keyInterval = 0;              ///< pictures between key frames; 0: as the encoder chooses
};

/// A picture full of detail, different for every `index`; samples stay within the format's depth.
Picture draw(AVPixelFormat format, int width, int height, int index);

/// `count` pictures at times 0, 1, 2 ...
std::vector<Picture> drawMany(AVPixelFormat format, int width, int height, int count);

/// Writes a file whose name chooses the container, its video encoded by `encoder`; audio and
/// subtitle packets as given by the clip. A picture of another size than the one before it starts
/// the encoder anew.
void write(const std::string& path, const Clip& clip);

/// A file with only `clip.audio`.
void writeAudioOnly(const std::string& path, const Clip& clip);

/// One second of PCM for each entry: a packet for every 1/25 s.
std::vector<Packet> tone(int packets);

/// Where in the file each packet of its video begins.
std::vector<std::int64_t> packetPlaces(const std::string& path);

/// Decodes a whole file.
Clip read(const std::string& path);

}  // namespace clip
