#pragma once

#include <set>
#include <string>

#include "host/cmhost/options.h"
#include "host/cmhost/output/output_file.h"
#include "host/cmhost/support/av.h"
#include "host/cmhost/support/dictionary.h"

namespace cmhost {

/// HLS output: a playlist and its pieces, which the muxer writes into the folder of the playlist.
class Playlist {
 public:
  /// Whether an output of this name is a playlist; `container` is empty unless it is named.
  static bool isNamed(const std::string& name, const std::string& container);

  /// The pieces of `file`; `input` is not replaced by one. Keeps a reference to `file`.
  Playlist(const OutputFile& file, const std::string& input);

  /// Sets the muxer's defaults. All pieces of a file are kept, and only the last ones of a live
  /// stream.
  void setOptions(Dictionary& dictionary) const;

  /// Opens a file for the muxer: only new files in the folder of the playlist, or with --overwrite
  /// existing ones. Returns an error of the media libraries.
  int open(AVFormatContext* format, AVIOContext** io, const char* url, int flags,
           AVDictionary** options);

  /// Throws `Failure` if a piece could not be opened.
  void check() const;

 private:
  std::string refusal(const std::string& path) const;

  const OutputFile& file_;
  std::string input_;
  std::set<std::string> own_;  ///< files that this run has written
  std::string failure_;
};

}  // namespace cmhost
