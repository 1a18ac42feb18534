#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "host/cmhost/options.h"
#include "host/cmhost/output/output_file.h"
#include "host/cmhost/output/playlist.h"
#include "host/cmhost/output/streams/other_streams.h"
#include "host/cmhost/source.h"
#include "host/cmhost/support/av.h"

namespace cmhost {

/// Writes the container of the output: the encoded video and the copied streams. After `start`,
/// packets may be written from several threads.
class Muxer {
 public:
  /// Selects the container by `formatName` or, if that is empty, by the extension of the file.
  /// Throws `Failure`.
  /// The pieces of a playlist do not replace `input`.
  Muxer(OutputFile& file, const std::string& formatName, const std::string& input);

  /// Writes each video packet, a still picture, to the next file of `output` if this is a numbered
  /// name. Otherwise, only one picture may be written.
  Muxer(OutputFile& file, const AVOutputFormat& stills, std::string output);

  const AVOutputFormat& container() const { return *format_->oformat; }

  /// Adds the stream of the encoded video. Its frame rate, aspect ratio and colour tags come from
  /// `encoder`, the other properties and the metadata from `source`. `timeBase` is that of the
  /// packets that will be written.
  void addVideo(const AVCodecContext& encoder, AVRational timeBase, const Source& source);

  /// Adds all other streams of `source`, see `OtherStreams`.
  void addOthers(const Source& source, const Options& options);

  /// The streams of the input that are not in the output: their indexes, and their names for
  /// messages.
  const std::vector<int>& streamsLeftOut() const { return others_.leftOut(); }
  std::string leftOutText() const { return others_.leftOutText(); }

  /// Writes the header, with the options of the muxer that the user has set. Throws `Failure`.
  void start(const Options::KeyValues& options);

  /// Writes an encoded packet with time stamps in `timeBase`, the encoder's time base.
  void writeVideo(AVPacket& packet, AVRational timeBase);

  /// Writes a packet of another stream of the input. One thread at a time.
  void writeOther(const AVPacket& packet);

  /// Writes what is left of the other streams, and the trailer. Throws `Failure`.
  void finish();

 private:
  static int openAgain(AVFormatContext* format, AVIOContext** io, const char* url, int flags,
                       AVDictionary** options);
  static int closeAgain(AVFormatContext* format, AVIOContext* io);
  Muxer(OutputFile& file, const AVOutputFormat& container);
  void beginPicture();
  static int openPiece(AVFormatContext* format, AVIOContext** io, const char* url, int flags,
                       AVDictionary** options);
  bool isSeekable() const { return file_.io() != nullptr && file_.io()->seekable != 0; }
  void write(AVPacket& packet);
  void check(int result, const char* what);

  OutputFile& file_;
  std::string stills_;                  ///< the name of all still pictures; empty for other outputs
  int pictures_ = 0;                    ///< written or being written
  std::unique_ptr<Playlist> playlist_;  ///< null for other containers
  OutputFormatPtr format_;
  AVStream* video_ = nullptr;
  OtherStreams others_;
  bool cutsChapters_ = false;  ///< when the video is complete
  std::int64_t videoEnd_ = 0;  ///< in the time base of `video_`
  std::mutex mutex_;
};

}  // namespace cmhost
