#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <set>
#include <string>
#include <thread>

#include "host/cmhost/input/input_file.h"
#include "host/cmhost/input/integrity/hidden_pictures.h"
#include "host/cmhost/input/integrity/last_picture.h"
#include "host/cmhost/input/integrity/packet_count.h"
#include "host/cmhost/support/av.h"
#include "host/cmhost/support/av_log.h"

namespace cmhost {

/// Checks whether the input is complete and was decoded completely. The rule is the same for every
/// container and codec. Damage is:
///  - an error that the demuxer or the video decoder returns, flags or logs;
///  - a frame that was sent to the decoder and not returned, for codecs with exactly one frame per
///    packet;
///  - a frame that the container counts but the demuxer does not find;
///  - a frame that an edit list hides because of an impossible time stamp;
///  - an input that is shorter than its container declares.
/// A file that has grown since it was opened may end anywhere; a packet that is truncated there is
/// dropped.
class Integrity final : public AvLogListener {
 public:
  explicit Integrity(const InputFile& file) : file_(file) {}
  ~Integrity() override;

  /// While it exists, this thread runs the demuxer, so errors logged by the demuxer's helpers count
  /// as well.
  class Reading {
   public:
    explicit Reading(Integrity& owner) : owner_(owner) {
      owner_.readingThread_ = std::this_thread::get_id();
    }
    ~Reading() { owner_.readingThread_ = std::thread::id(); }
    Reading(const Reading&) = delete;
    Reading& operator=(const Reading&) = delete;

   private:
    Integrity& owner_;
  };

  /// Starts checking an opened file; `video` is the stream that will be decoded.
  void begin(const AVFormatContext& format, const AVStream& video);

  /// Returns the damage that the demuxer and the decoder have logged since the last call, or an
  /// empty string. Errors of the demuxer at the end of a growing file do not count.
  std::string reported();

  /// Reads the next packet of any stream, as `av_read_frame` does.
  int readPacket(AVFormatContext& format, AVPacket& packet);

  /// The damage that the demuxer or the decoder has flagged; empty when there is none.
  static std::string flagged(const AVPacket& packet);
  static std::string flagged(const AVFrame& frame);

  /// Call it with the packet read last, of any stream, where the file ends and is growing. Returns
  /// true if the packet is truncated and must be dropped: each stream may end with one. If a packet
  /// of the stream was dropped before, that one was damaged, which `reported` will return. Call it
  /// on the reading thread, outside a `Reading`.
  bool dropsTruncated(const AVPacket& packet);

  /// Adds a frame returned by the decoder.
  void addPicture(const AVFrame& picture);

  /// Describes what is missing, once the input has been read to its end; empty when it is complete.
  /// `fromItsBeginning`: the input was read from the start.
  std::string missing(bool fromItsBeginning) const;

  /// Compares the size of the input with the size its container declares and describes what is
  /// missing; empty when nothing is. Works for a file that could not be opened.
  std::string missingBytes() const;

  /// Whether the container does not declare where it ends, so that truncation between two packets
  /// cannot be detected: an AVI that was not finalized or was written to a pipe.
  bool hasOpenEnd() const;

  /// Number of frames before the first complete one, which refer to frames that are not in the
  /// input.
  std::int64_t picturesBeforeFirst() const;

  bool isDetail(const char* format) const override;
  void logged(const AvLogLine& line) override;

 private:
  bool isDamage(const AvLogLine& line) const;
  bool isComplete(const AVPacket& packet);
  void addPacket(const AVPacket& packet);
  std::set<std::int64_t>::const_iterator firstDue() const;
  std::string missingTime() const;
  std::string missingPackets() const;
  std::string missingPictures() const;
  bool hasPartOfPicture() const;

  const InputFile& file_;
  std::mutex mutex_;
  std::string reported_;       ///< first error logged, which is usually the cause
  std::string reportedAtEnd_;  ///< same, logged after the end of the file was reached
  std::atomic<std::thread::id> tryingThread_{};  ///< runs the test decode
  bool trialCounts_ = false;                     ///< the test decode has reached the last packet
  bool trialFailed_ = false;
  std::atomic<std::thread::id> readingThread_{};  ///< inside the demuxer
  std::atomic<bool> decoding_{false};
  std::atomic<bool> endsWithPicture_{false};  ///< frames have only end markers
  const AVFormatContext* format_ = nullptr;
  const AVStream* video_ = nullptr;
  bool onePicturePerPacket_ = false;
  std::set<std::int64_t> awaited_;             ///< time stamps of frames inside the decoder
  std::int64_t lost_ = 0;                      ///< frames removed from there: they are missing
  std::int64_t firstLost_ = 0;                 ///< time stamp of the first of them
  std::int64_t firstPts_ = AV_NOPTS_VALUE;     ///< of the first decoded frame
  std::int64_t firstKeyPts_ = AV_NOPTS_VALUE;  ///< of the first key frame read
  std::int64_t packetsEnd_ = 0;                ///< offset after the last packet
  std::int64_t timesEnd_ = 0;                  ///< end time of the last packet, in microseconds
  int packetBytes_ = 0;                        ///< size of the last video packet
  std::int64_t packetPts_ = AV_NOPTS_VALUE;    ///< its time stamp
  std::set<int> droppedStreams_;               ///< streams whose last packet was dropped
  LastPicture lastPicture_;
  HiddenPictures hiddenPictures_;
  PacketCount packetCount_;
};

}  // namespace cmhost
