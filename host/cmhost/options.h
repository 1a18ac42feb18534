#pragma once

extern "C" {
#include <libavutil/rational.h>
}

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace cmhost {

/// When to show progress; `automatic` is only on a terminal.
enum class ProgressMode { automatic, always, never, json };

/// What an input may refer to: nothing, local files, or local files and network addresses.
enum class AllowedReferences { none, files, network };

/// What to do with sound: copy it, and encode only what the container does not support; always
/// encode it; or leave it out.
enum class SoundMode { copy, encode, none };

/// Several inputs, whose outputs are written to one folder.
struct BatchOptions {
  std::filesystem::path folder;
  int jobs = 1;  ///< inputs that are processed at the same time
  bool skipExisting = false;
  std::vector<std::string> inputs;
  std::vector<std::string> childOptions;  ///< the options that apply to each run
};

/// The parsed command line.
struct Options {
  using KeyValues = std::vector<std::pair<std::string, std::string>>;

  std::optional<BatchOptions> batch;  ///< instead of `input` and `output`

  std::string input;   ///< "-" is standard input
  std::string output;  ///< "-" is standard output, "null:" discards the video
  bool overwrite = false;
  bool keepPartial = false;
  bool synchronise = true;

  std::string module;
  std::vector<std::pair<std::string, unsigned int>> keys;  ///< of the configuration, with FourCCs

  std::string inputFormat;  ///< empty: detected from the content
  KeyValues inputOptions;
  std::int64_t maxPixels = 8192 * 8192;  ///< limit for a frame of the input
  bool conceal = false;                  ///< mark damaged input as well as it can be decoded
  AllowedReferences references = AllowedReferences::none;
  double start = 0;                     ///< seconds from the start of the input
  std::int64_t frames = 0;              ///< 0: all
  int video = -1;                       ///< number of the video stream to mark; -1: the best
  std::optional<unsigned int> convert;  ///< FourCC of the layout to convert to
  bool convertAsNeeded = false;         ///< to the layout that players support
  bool rotate = true;                   ///< turn the frames as players show them

  std::string outputFormat;  ///< empty: from the extension of the output
  std::string encoder;       ///< empty: the container's default
  KeyValues encoderOptions;
  KeyValues muxerOptions;
  std::optional<double> crf;          ///< constant quality
  std::int64_t bitrate = 0;           ///< bits per second; 0: not set
  std::optional<std::string> preset;  ///< speed of the encoder
  bool lossless = false;
  std::optional<AVRational> rate;  ///< constant frame rate of the output
  int threads = 0;                 ///< of the decoder and of the encoder; 0: as many as processors
  bool compare = false;
  SoundMode sound = SoundMode::copy;
  bool keepOtherVideo = false;
  bool strict = false;  ///< fail when the container does not support a stream

  std::string preview;  ///< path of the PNG; empty: none
  std::int64_t previewFrame = 0;
  std::string hash;    ///< "-" is standard output; empty: none
  std::string report;  ///< the same

  bool listEncoders = false;  ///< print the encoders instead of processing a video

  bool inspect = false;  ///< describe `module` instead of processing a video
  int inspectWidth = 1920;
  int inspectHeight = 1080;
  unsigned int inspectLayout = 0;  ///< FourCC
  int moduleTimeout = 60;  ///< seconds without activity until a call counts as hung; 0: never
  bool json = false;

  ProgressMode progress = ProgressMode::automatic;
  bool quiet = false;

  bool toStandardOutput() const { return output == "-"; }
  bool toNowhere() const { return output == "null:"; }
};

/// Parses the command line. Returns nothing if the program should exit with `exitCode`: it has
/// printed the help or the version, or an error about invalid usage. Throws `Failure` when help or
/// version cannot be printed.
std::optional<Options> parseCommandLine(int argc, char** argv, int& exitCode);

}  // namespace cmhost
