#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace cmhost {

/// What the command line asks for.
struct Options {
  std::string input;
  std::string output;        ///< "-" is standard output
  std::string outputFormat;  ///< empty: by the name of the output
  std::string module;
  std::string encoder;  ///< empty: the container's
  std::vector<std::pair<std::string, std::string>> encoderOptions;
  std::optional<unsigned int> convert;  ///< FourCC of the layout to convert to
  bool overwrite = false;

  bool toStandardOutput() const { return output == "-"; }
};

/// Reads the command line. Without a value the program is done and exits with `exitCode`: help or
/// version was asked for and is printed, or the usage is wrong and said to be so.
std::optional<Options> parseCommandLine(int argc, char** argv, int& exitCode);

}  // namespace cmhost
