#include "host/cmhost/input/demuxer.h"

#include <cstring>

extern "C" {
#include <libavutil/opt.h>
}

#include "host/cmhost/support/dictionary.h"
#include "host/cmhost/support/failure.h"
#include "host/cmhost/support/memory_cap.h"
#include "host/cmhost/support/picture_names.h"

namespace cmhost {

namespace {

// Limits for opening an input, with its index and attachments.
constexpr std::int64_t openingGibibytes = 1;
constexpr int mostStreams = 1000;

const AVInputFormat* demuxerByName(const std::string& name) {
  const AVInputFormat* const demuxer = av_find_input_format(name.c_str());
  if (demuxer == nullptr || (demuxer->flags & AVFMT_NOFILE) != 0)
    throw Failure("--input-format: unknown container '" + name + "'", exitUsage);
  return demuxer;
}

bool beginsAsPlaylist(AVIOContext& io) {
  static constexpr char mark[] = "#EXTM3U";
  constexpr int length = sizeof mark - 1;
  char begin[length] = {};
  const int count = avio_read(&io, reinterpret_cast<unsigned char*>(begin), length);
  return avio_seek(&io, 0, SEEK_SET) >= 0 && count == length &&
         std::memcmp(begin, mark, length) == 0;
}

// The demuxer of image sequences would use the input's name as a pattern and open other files.
const AVInputFormat* demuxerByContent(InputFile& file, const AVFormatContext& format, int& error) {
  if (file.io() == nullptr) return av_find_input_format("rtp");  // it opens the address itself
  const AVInputFormat* demuxer = nullptr;
  error = av_probe_input_buffer2(file.io(), &demuxer, file.name().c_str(), nullptr, 0,
                                 static_cast<unsigned int>(format.format_probesize));
  // Newer media libraries detect a playlist only if the file name has a playlist's extension.
  const AVInputFormat* const playlists = av_find_input_format("hls");
  if ((error >= 0 || error == AVERROR_INVALIDDATA) && playlists != nullptr &&
      beginsAsPlaylist(*file.io())) {
    error = 0;
    return playlists;
  }
  const bool isSequence = demuxer != nullptr && std::strcmp(demuxer->name, "image2") == 0;
  return isSequence ? av_find_input_format("image2pipe") : demuxer;
}

// By default, the QuickTime demuxer does not open referenced files. It is told to here, so that
// `References` learns their names and decides which ones may be opened.
void followReferences(Dictionary& dictionary, const AVInputFormat& demuxer,
                      AllowedReferences allowed) {
  if (std::strncmp(demuxer.name, "mov,", 4) != 0) return;
  dictionary.setDefault("enable_drefs", "1");
  if (allowed == AllowedReferences::none) dictionary.set("use_absolute_path", "1");
}

// Rejects demuxer options that would bypass --allow-references.
void checkOptions(const Options& options) {
  for (const auto& [key, value] : options.inputOptions) {
    const bool choosesProtocols = key == "protocol_whitelist" || key == "protocol_blacklist";
    if (choosesProtocols && options.references == AllowedReferences::none)
      throw Failure("--input-option: " + key + " requires --allow-references", exitUsage);
    // An unsafe list can set the protocols itself.
    if (key == "safe" && value != "1" && options.references != AllowedReferences::network)
      throw Failure("--input-option: safe=" + value + " requires --allow-references network",
                    exitUsage);
  }
}

int isInterrupted(void* file) { return static_cast<InputFile*>(file)->interrupted() ? 1 : 0; }

}  // namespace

InputFormatPtr openDemuxer(InputFile& file, References& references, const Options& options,
                           int& error) {
  checkOptions(options);
  OutputFormatPtr context = orThrow<OutputFormatPtr>(avformat_alloc_context());
  context->pb = file.io();
  context->max_streams = mostStreams;
  context->interrupt_callback = {isInterrupted, &file};
  references.guard(*context);
  const bool readsSequence =
      options.inputFormat.empty() && !file.isNetwork() && isSequence(options.input);
  if (readsSequence) {
    context->pb = nullptr;  // this demuxer opens each file itself
    references.allowSequence(*context, options.input);
  }
  Dictionary dictionary(file.demuxerOptions());
  error = av_opt_set_dict(context.get(), dictionary.entries());
  if (error < 0) return nullptr;
  const AVInputFormat* const demuxer = readsSequence ? av_find_input_format("image2")
                                       : options.inputFormat.empty()
                                           ? demuxerByContent(file, *context, error)
                                           : demuxerByName(options.inputFormat);
  if (error < 0) return nullptr;
  if (file.io() != nullptr) references.check(*demuxer, *file.io());
  followReferences(dictionary, *demuxer, options.references);

  const MemoryCap cap(openingGibibytes << 30);
  AVFormatContext* opened = context.release();  // freed by avformat_open_input on an error
  error = avformat_open_input(&opened, file.name().c_str(), demuxer, dictionary.entries());
  InputFormatPtr format(error >= 0 ? opened : nullptr);
  if (error == AVERROR(ENOMEM))
    throw Failure(file.name() + ": cannot open: the file needs more than " +
                  std::to_string(openingGibibytes) + " GiB of memory or has more than " +
                  std::to_string(mostStreams) + " streams");
  if (error != AVERROR_EXIT) references.checkOpened();
  if (error < 0) return nullptr;
  if (const AVDictionaryEntry* const unknown = dictionary.first())
    throw Failure(std::string("--input-option: the demuxer ") + format->iformat->name +
                      " has no option '" + unknown->key + "'",
                  exitUsage);
  references.checkStreams(*format);
  return format;
}

}  // namespace cmhost
