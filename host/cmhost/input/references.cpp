#include "host/cmhost/input/references.h"

extern "C" {
#include <libavutil/avstring.h>
#include <libavutil/opt.h>
}

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "host/cmhost/network/network_io.h"
#include "host/cmhost/support/av_log.h"
#include "host/cmhost/support/failure.h"
#include "host/cmhost/support/picture_names.h"

namespace cmhost {

namespace {

// The media library's default function, which respects the protocol whitelist.
decltype(AVFormatContext::io_open) openAllowed = nullptr;

// A demuxer whose files consist of references or are scripts.
struct ReachingDemuxer {
  const char* name;
  const char* kind;
  std::optional<AllowedReferences> needs;  ///< empty: never allowed
  std::array<const char*, 3> marks;        ///< text before a reference; empty: lines without '#'
};

const ReachingDemuxer* reachingDemuxer(const char* name) {
  static constexpr ReachingDemuxer demuxers[] = {
      {"hls", "a playlist", AllowedReferences::files, {}},
      {"concat", "a list of files", AllowedReferences::files, {"file "}},
      {"dash", "a playlist", AllowedReferences::files, {"<BaseURL>", "media=\"", "sourceURL=\""}},
      {"imf", "a composition", AllowedReferences::files, {"<Id>"}},
      {"vobsub", "an index of subtitles", AllowedReferences::files, {"id: "}},
      {"svg_pipe", "a drawing", AllowedReferences::files, {"href=\""}},
      {"sdp", "a description of a network stream", AllowedReferences::network, {"\nc=", "\nm="}},
      {"avisynth", "a script", std::nullopt, {}},
      {"vapoursynth", "a script", std::nullopt, {}},
  };
  const auto* const found = std::find_if(
      std::begin(demuxers), std::end(demuxers),
      [name](const ReachingDemuxer& each) { return std::strcmp(each.name, name) == 0; });
  return found != std::end(demuxers) ? found : nullptr;
}

// Protocols that demuxers may use. The user can change them with --input-option.
const char* protocols(AllowedReferences allowed) {
  switch (allowed) {
    case AllowedReferences::files:
      return "file,crypto,data";
    case AllowedReferences::network:
      return "file,crypto,data,http,https,httpproxy,tcp,tls,udp,rtp,srtp";
    default:
      return "nothing";
  }
}

std::string howToAllow(AllowedReferences needed) {
  return std::string("use --allow-references ") +
         (needed == AllowedReferences::network ? "network" : "file") + " to allow this";
}

AllowedReferences neededFor(const std::string& url) {
  const char* const protocol = avio_find_protocol_name(url.c_str());
  const bool local = protocol == nullptr || av_match_list(protocol, "file,crypto,data", ',') > 0;
  return local ? AllowedReferences::files : AllowedReferences::network;
}

std::string quoted(const std::string& text) {
  constexpr std::size_t mostBytes = 200;
  return "'" + (text.size() > mostBytes ? text.substr(0, mostBytes) + "..." : text) + "'";
}

std::string_view untilAnyOf(std::string_view text, const char* ends) {
  return text.substr(0, std::min(text.find_first_of(ends), text.size()));
}

std::string_view firstPlainLine(std::string_view text) {
  while (!text.empty()) {
    const std::string_view line = untilAnyOf(text, "\r\n");
    if (!line.empty() && line[0] != '#') return line;
    text.remove_prefix(std::min(line.size() + 1, text.size()));
  }
  return {};
}

// The first reference, if it is near the start of the file.
std::string firstReference(const ReachingDemuxer& demuxer, AVIOContext& io) {
  std::vector<unsigned char> bytes(1 << 16);
  const int count = avio_read(&io, bytes.data(), static_cast<int>(bytes.size()));
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()),
                              static_cast<std::size_t>(std::max(count, 0)));
  if (demuxer.marks[0] == nullptr) return std::string(firstPlainLine(text));
  for (const char* const mark : demuxer.marks) {
    if (mark == nullptr) break;
    const std::size_t at = text.find(mark);
    if (at == std::string_view::npos) continue;
    return std::string(untilAnyOf(text.substr(at + std::strlen(mark)), "\r\n<\""));
  }
  return {};
}

// Demuxers also probe for optional files, such as the next part of a recording.
bool isMissingFile(const char* url) {
  const char* path = url;
  av_strstart(url, "file:", &path);
  return neededFor(url) == AllowedReferences::files && ::access(path, F_OK) != 0;
}

}  // namespace

References::References(std::string input, AllowedReferences allowed)
    : input_(std::move(input)), allowed_(allowed) {}

void References::check(const AVInputFormat& demuxer, AVIOContext& io) {
  const ReachingDemuxer* const reaching = reachingDemuxer(demuxer.name);
  playlist_ = reaching != nullptr;
  if (reaching == nullptr) return;
  const AllowedReferences least =
      isNetworkAddress(input_) ? AllowedReferences::network : AllowedReferences::none;
  if (reaching->needs && std::max(*reaching->needs, least) <= allowed_) return;
  const std::string what = input_ + ": the file is " + reaching->kind + " (" + demuxer.name + ")";
  if (!reaching->needs) throw Failure(what + "; scripts are never run");
  const std::string reference = firstReference(*reaching, io);
  const AllowedReferences needed = std::max({least, *reaching->needs, neededFor(reference)});
  throw Failure(what + (reference.empty() ? "" : " and refers to " + quoted(reference)) + "; " +
                howToAllow(needed));
}

// Files from the network must not refer to local ones.
std::string References::protocols() const {
  if (!isNetworkAddress(input_)) return cmhost::protocols(allowed_);
  if (allowed_ == AllowedReferences::network)
    return "crypto,data,http,https,httpproxy,tcp,tls,udp,rtp,srtp";
  return schemeOf(input_) == "rtp" ? protocolsFor(input_)
                                   : cmhost::protocols(AllowedReferences::none);
}

void References::guard(AVFormatContext& format) {
  format.opaque = this;
  openAllowed = format.io_open;
  format.io_open = &References::open;
  if (av_opt_set(&format, "protocol_whitelist", protocols().c_str(), 0) < 0) throw std::bad_alloc();
}

void References::allowSequence(AVFormatContext& format, std::string numberedName) {
  sequence_ = std::move(numberedName);
  if (allowed_ == AllowedReferences::none &&
      av_opt_set(&format, "protocol_whitelist", "file", 0) < 0)
    throw std::bad_alloc();
}

void References::checkStreams(const AVFormatContext& format) const {
  if (allowed_ != AllowedReferences::none) return;
  for (unsigned int i = 0; i < format.nb_streams; ++i)
    if (format.streams[i]->codecpar->codec_id == AV_CODEC_ID_SVG)
      throw Failure(input_ + ": contains a drawing (svg), which may refer to other files; " +
                    howToAllow(AllowedReferences::files));
}

void References::checkOpened() const {
  if (!failure_.empty()) throw Failure(failure_);
}

std::string References::withHint(std::string reason) const {
  if (!playlist_ || allowed_ == AllowedReferences::network) return reason;
  const std::size_t begin = reason.find('\'') + 1;
  const std::string named = reason.substr(begin, reason.rfind('\'') - begin);
  if (begin == 0 || neededFor(named) > allowed_)
    reason += "; " + howToAllow(AllowedReferences::network);
  return reason;
}

int References::open(AVFormatContext* format, AVIOContext** io, const char* url, int flags,
                     AVDictionary** options) {
  auto* const self = static_cast<References*>(format->opaque);
  // Nested contexts created by a demuxer are limited by the protocol whitelist only.
  if (self == nullptr) return openAllowed(format, io, url, flags, options);

  if (!self->sequence_.empty() && isOneOf(self->sequence_, url))
    return openAllowed(format, io, url, flags, options);
  if (self->allowed_ == AllowedReferences::none && isMissingFile(url)) return AVERROR(ENOENT);
  if (std::string refusal = self->refusal(*format, url); !refusal.empty()) {
    self->keepFailure(std::move(refusal));
    return AVERROR(EPERM);
  }
  const int result = openAllowed(format, io, url, flags, options);
  // Otherwise, missing parts of a playlist are skipped silently.
  if (result < 0 && result != AVERROR_EXIT && self->playlist_)
    self->keepFailure(self->input_ + ": the file refers to " + quoted(url) +
                      ", which cannot be opened: " + avErrorReason(result));
  return result;
}

std::string References::refusal(const AVFormatContext& format, const char* url) const {
  const std::string what = input_ + ": the file refers to " + quoted(url);
  const AllowedReferences needed = neededFor(url);
  if (needed > allowed_) return what + "; " + howToAllow(needed);
  const char* const protocol = avio_find_protocol_name(url);
  const bool allowed =
      protocol != nullptr && av_match_list(protocol, format.protocol_whitelist, ',') > 0;
  if (allowed) return {};
  return what + ", whose protocol is not one of " + format.protocol_whitelist +
         "; allow others with --input-option protocol_whitelist=LIST";
}

void References::keepFailure(std::string failure) {
  if (failure_.empty()) failure_ = std::move(failure);
}

}  // namespace cmhost
