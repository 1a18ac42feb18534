#include "host/cmhost/output/playlist.h"

#include <cstring>
#include <filesystem>

#include "host/cmhost/network/network_io.h"
#include "host/cmhost/support/av_log.h"
#include "host/cmhost/support/failure.h"

namespace cmhost {

namespace {

namespace fs = std::filesystem;

// The muxer writes a playlist under this name and renames it.
constexpr const char* temporary = ".tmp";

std::string withoutEnd(const std::string& path, const std::string& end) {
  const bool has =
      path.size() > end.size() && path.compare(path.size() - end.size(), end.size(), end) == 0;
  return has ? path.substr(0, path.size() - end.size()) : path;
}

}  // namespace

bool Playlist::isNamed(const std::string& name, const std::string& container) {
  if (isNetworkAddress(name) || name == "-") return false;
  return container.empty() ? withoutEnd(name, ".m3u8") != name : container == "hls";
}

Playlist::Playlist(const OutputFile& file, const std::string& input) : file_(file), input_(input) {}

void Playlist::setOptions(Dictionary& dictionary) const {
  const bool isLive = isNetworkAddress(input_);
  if (isLive) dictionary.setDefault("hls_flags", "delete_segments+temp_file");
  if (!isLive) dictionary.setDefault("hls_list_size", "0");
}

int Playlist::open(AVFormatContext* format, AVIOContext** io, const char* url, int flags,
                   AVDictionary** options) {
  const std::string path = url;
  if (std::string reason = flags == AVIO_FLAG_WRITE ? refusal(path) : "the muxer reads a file";
      !reason.empty()) {
    if (failure_.empty()) failure_ = path + ": " + reason;
    return AVERROR(EPERM);
  }
  own_.insert(withoutEnd(path, temporary));
  Dictionary all;
  if (options != nullptr) av_dict_copy(all.entries(), *options, 0);
  all.set("protocol_whitelist", "file,crypto");
  const int result = avio_open2(io, url, flags, &format->interrupt_callback, all.entries());
  if (result < 0 && failure_.empty()) failure_ = path + ": cannot create: " + avErrorReason(result);
  return result;
}

std::string Playlist::refusal(const std::string& path) const {
  if (fs::path(path).parent_path() != fs::path(file_.name()).parent_path())
    return "the pieces of a playlist are written next to it";
  const std::string name = withoutEnd(path, temporary);
  std::error_code ignored;
  if (fs::equivalent(name, input_, ignored)) return "a piece would replace the input";
  if (own_.count(name) == 0 && !file_.mode().overwrite && fs::exists(name, ignored))
    return "file exists; use --overwrite to replace it";
  return "";
}

void Playlist::check() const {
  if (!failure_.empty()) throw Failure(failure_);
}

}  // namespace cmhost
