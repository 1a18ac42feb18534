#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "host/cmhost/av.h"
#include "host/cmhost/file_io.h"

namespace cmhost {

/// The input: demuxes the file, decodes its video stream and hands out the packets of all others.
/// One thread at a time, `interrupt` excepted.
class Input {
 public:
  /// Gets each packet that is not of the decoded stream, in the order of the file.
  using PacketSink = std::function<void(AVPacket& packet)>;

  /// Opens the file and the decoder of its video stream. Throws `Failure`.
  explicit Input(const std::string& path);

  /// The next picture, its `pts` in the stream's time base and set; null at the end of the stream.
  /// Throws `Failure` when the file is damaged or cut short, which says what could be decoded.
  FramePtr nextFrame();

  /// Until this is called, packets of other streams wait here; they go to the sink first.
  void sendOtherPacketsTo(PacketSink sink);

  AVFormatContext& format() const { return *format_; }
  AVStream& video() const { return *video_; }
  const std::string& path() const { return path_; }

  /// Frames a second as the container says, 0/0 when it does not.
  AVRational frameRate() const;

  /// How many frames the stream holds as far as the container tells; 0 when it does not.
  std::int64_t expectedFrames() const;

  std::int64_t decodedFrames() const { return decodedFrames_; }

  /// Makes `nextFrame` fail soon. Any thread.
  void interrupt() { file_.interrupt(); }

 private:
  void openFormat();
  void openDecoder();
  void feedDecoder();
  void skipOrFail(const std::string& what);
  void passOn(AVPacket& packet);
  void checkLength() const;
  void checkComplete() const;
  void finishFrame(AVFrame& frame);
  [[noreturn]] void failDamaged(const std::string& what) const;

  std::string path_;
  InputFile file_;
  InputFormatPtr format_;
  AVStream* video_ = nullptr;
  CodecPtr decoder_;
  PacketPtr packet_;
  PacketSink sink_;
  std::vector<PacketPtr> waiting_;
  std::size_t waitingBytes_ = 0;
  std::int64_t decodedFrames_ = 0;
  bool startSkipped_ = false;
  std::int64_t nextPts_ = 0;     ///< for a frame without a time stamp
  double lastFrameSeconds_ = 0;  ///< of the last frame decoded
  std::int64_t packetsEnd_ = 0;  ///< byte after the last packet
};

}  // namespace cmhost
