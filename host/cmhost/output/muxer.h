#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "host/cmhost/output/output_file.h"
#include "host/cmhost/source.h"
#include "host/cmhost/support/av.h"

namespace cmhost {

/// The output's container: the encoded video and the copied streams. Packets may come from several
/// threads once it has started.
class Muxer {
 public:
  /// Chooses the container by `formatName` or, when that is empty, by the name of the file. Throws
  /// `Failure`.
  Muxer(OutputFile& file, const std::string& formatName);

  const AVOutputFormat& container() const { return *format_->oformat; }

  /// The stream for what `encoder` makes of the video of `input`; its tags, rate and aspect are
  /// taken over.
  void addVideo(const AVCodecContext& encoder, const Source& source);

  /// Streams for everything else in `input`. What the container does not take is left out with a
  /// warning.
  void addCopies(const Source& source);

  /// Writes the header. Throws `Failure`.
  void start();

  /// Takes an encoded packet with times in `timeBase` of the encoder.
  void writeVideo(AVPacket& packet, AVRational timeBase);

  /// Takes a packet of a copied stream; one of a stream left out is dropped.
  void writeCopy(AVPacket& packet);

  /// Writes what the container wants at its end. Throws `Failure`.
  void finish();

 private:
  bool takes(const AVStream& from) const;
  bool writesTimeCodeOf(const AVStream& from) const;
  void addCopy(const AVStream& from);
  void write(AVPacket& packet);
  void check(int result, const char* what);

  OutputFile& file_;
  OutputFormatPtr format_;
  AVStream* video_ = nullptr;
  std::vector<AVStream*> copies_;  ///< by index of the input's stream; null: left out
  std::vector<AVRational> copyTimeBases_;
  std::mutex mutex_;
};

}  // namespace cmhost
