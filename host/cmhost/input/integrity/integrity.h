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

/// Finds out whether everything that an input holds was there and could be decoded. One rule holds
/// for every container and codec. Damaged is:
///  - what a demuxer or the decoder of the video reports as an error, returned, flagged or logged;
///  - a picture that went into the decoder and did not come out, for codecs that make exactly one
///    picture of each packet;
///  - a picture that the container counts and the demuxer does not find;
///  - a picture that an edit list hides because its time cannot be right;
///  - an input that ends before its container says, where the container says so.
/// A file that has grown since it was opened ends anywhere: what is cut there is left out.
class Integrity final : public AvLogListener {
 public:
  explicit Integrity(const InputFile& file) : file_(file) {}
  ~Integrity() override;

  /// While it lives, this thread has the demuxer work: errors of its parts count too.
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

  /// The file is open, and `video` is the stream that will be decoded.
  void begin(const AVFormatContext& format, const AVStream& video);

  /// What the demuxer and the decoder have logged since the last call; empty when nothing. What the
  /// demuxer lacked at the end of a file that grows does not count.
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

  /// The decoder has given a picture.
  void addPicture(const AVFrame& picture);

  /// What an input that is at its end lacks; empty when it is complete. `fromItsBeginning` is
  /// whether all of it was read.
  std::string missing(bool fromItsBeginning) const;

  /// How long the input is compared with what its container says, which is all that can be told of
  /// one that cannot be opened; empty when it is long enough.
  std::string missingBytes() const;

  /// Whether nothing in the input says where it ends, so that a cut between two packets is not
  /// seen: an AVI that was never finished or was written to a pipe.
  bool hasOpenEnd() const;

  /// Pictures from before the first whole one, which refer to what the input does not hold.
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
  std::string reported_;                         ///< the first line that says most
  std::string reportedAtEnd_;                    ///< the same, when reading had found the end
  std::atomic<std::thread::id> tryingThread_{};  ///< the one that decodes a last packet on trial
  bool trialCounts_ = false;                     ///< it has come to that packet
  bool trialFailed_ = false;
  std::atomic<std::thread::id> readingThread_{};  ///< the one inside the demuxer
  std::atomic<bool> decoding_{false};
  std::atomic<bool> endsWithPicture_{false};  ///< nothing but its own end ends a picture
  const AVFormatContext* format_ = nullptr;
  const AVStream* video_ = nullptr;
  bool onePicturePerPacket_ = false;
  std::set<std::int64_t> awaited_;             ///< time stamps of pictures inside the decoder
  std::int64_t firstPts_ = AV_NOPTS_VALUE;     ///< of the first picture decoded
  std::int64_t firstKeyPts_ = AV_NOPTS_VALUE;  ///< of the first key frame read
  std::int64_t packetsEnd_ = 0;                ///< byte after the last packet
  std::int64_t timesEnd_ = 0;                  ///< when the last packet ends, in microseconds
  int packetBytes_ = 0;                        ///< of the last packet of the video
  std::int64_t packetPts_ = AV_NOPTS_VALUE;    ///< of the same
  std::set<int> droppedStreams_;               ///< streams whose last packet was dropped
  LastPicture lastPicture_;
  HiddenPictures hiddenPictures_;
  PacketCount packetCount_;
};

}  // namespace cmhost
