#pragma once

#include <string>

#include "host/cmhost/options.h"
#include "host/cmhost/support/av.h"

namespace cmhost {

/// Controls access to what an input refers to: other files and network addresses. Only references
/// that the user allows are opened.
class References {
 public:
  /// `input` names the file in messages.
  References(std::string input, AllowedReferences allowed);

  /// Call it before the file is opened with this demuxer. Throws `Failure` if files of this demuxer
  /// consist of references that are not allowed; the message contains the first one. Reads from
  /// `io` only in this case.
  void check(const AVInputFormat& demuxer, AVIOContext& io);

  /// Intercepts everything that the demuxer opens. Call it before the demuxer is opened. This
  /// object must outlive `format`.
  void guard(AVFormatContext& format);

  /// Allows the files of a sequence, which the user has named by a numbered name. Call it after
  /// `guard`.
  void allowSequence(AVFormatContext& format, std::string numberedName);

  /// Throws `Failure` if the decoder of a stream may open files.
  void checkStreams(const AVFormatContext& format) const;

  /// Throws `Failure` if the demuxer failed to open a reference.
  void checkOpened() const;

  /// Adds the option that may help to the reason why a demuxer failed.
  std::string withHint(std::string reason) const;

 private:
  static int open(AVFormatContext* format, AVIOContext** io, const char* url, int flags,
                  AVDictionary** options);
  std::string refusal(const AVFormatContext& format, const char* url) const;
  std::string protocols() const;
  void keepFailure(std::string failure);

  std::string input_;
  AllowedReferences allowed_;
  bool playlist_ = false;  ///< the file consists of references
  std::string sequence_;   ///< the numbered name; empty: no sequence
  std::string failure_;    ///< the first one
};

}  // namespace cmhost
