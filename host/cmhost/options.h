#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace cmhost {

/// When the progress line is shown; `automatic` is on a terminal only.
enum class ProgressMode { automatic, always, never };

/// What an input may refer to: nothing, files, or files and network addresses.
enum class AllowedReferences { none, files, network };

/// What the command line asks for.
struct Options {
  using KeyValues = std::vector<std::pair<std::string, std::string>>;

  std::string input;   ///< "-" is standard input
  std::string output;  ///< "-" is standard output, "null:" is nowhere
  bool overwrite = false;
  bool keepPartial = false;
  bool synchronise = true;

  std::string module;
  std::vector<std::pair<std::string, unsigned int>> keys;  ///< of the configuration, with FourCCs

  std::string inputFormat;  ///< empty: found out from the content
  KeyValues inputOptions;
  std::int64_t maxPixels = 8192 * 8192;  ///< of a picture of the input
  AllowedReferences references = AllowedReferences::none;
  double start = 0;                     ///< seconds from the beginning of the input
  std::int64_t frames = 0;              ///< 0: all
  std::optional<unsigned int> convert;  ///< FourCC of the layout to convert to

  std::string outputFormat;  ///< empty: by the name of the output
  std::string encoder;       ///< empty: the container's
  KeyValues encoderOptions;
  bool compare = false;

  std::string preview;  ///< the PNG's path; empty: none
  std::int64_t previewFrame = 0;
  std::string hash;  ///< "-" is standard output; empty: none

  bool inspect = false;  ///< say what `module` is instead of marking a video
  int inspectWidth = 1920;
  int inspectHeight = 1080;
  unsigned int inspectLayout = 0;  ///< FourCC
  int moduleTimeout = 60;          ///< seconds that a call into the module may hang; 0: for ever
  bool json = false;

  ProgressMode progress = ProgressMode::automatic;
  bool quiet = false;

  bool toStandardOutput() const { return output == "-"; }
  bool toNowhere() const { return output == "null:"; }
};

/// Reads the command line. Without a value the program is done and exits with `exitCode`: help or
/// version was asked for and is printed, or the usage is wrong and said to be so. Throws `Failure`
/// when help or version cannot be printed.
std::optional<Options> parseCommandLine(int argc, char** argv, int& exitCode);

}  // namespace cmhost
