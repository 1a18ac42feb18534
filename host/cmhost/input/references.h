#pragma once

#include <string>

#include "host/cmhost/options.h"
#include "host/cmhost/support/av.h"

namespace cmhost {

/// What an input refers to: other files and network addresses. They are opened only as far as the
/// user allows it.
class References {
 public:
  /// `input` is how messages call the file.
  References(std::string input, AllowedReferences allowed);

  /// Before the file is opened with this demuxer. Throws `Failure` for a demuxer whose files are
  /// made of references and need more than is allowed; the message names the first one. Reads from
  /// `io` only then.
  void check(const AVInputFormat& demuxer, AVIOContext& io);

  /// Takes over what the demuxer opens, before it is opened itself. This object must outlive it.
  void guard(AVFormatContext& format);

  /// Throws `Failure` when a stream's decoder may open files.
  void checkStreams(const AVFormatContext& format) const;

  /// Throws `Failure` when the demuxer wanted to open something and could not.
  void checkOpened() const;

  /// The reason for which a demuxer failed, and how to allow more where that may help.
  std::string withHint(std::string reason) const;

 private:
  static int open(AVFormatContext* format, AVIOContext** io, const char* url, int flags,
                  AVDictionary** options);
  std::string refusal(const AVFormatContext& format, const char* url) const;
  void keepFailure(std::string failure);

  std::string input_;
  AllowedReferences allowed_;
  bool playlist_ = false;  ///< the file is made of references
  std::string failure_;    ///< the first one
};

}  // namespace cmhost
