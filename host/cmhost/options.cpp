#include "host/cmhost/options.h"

#include <CLI/CLI.hpp>
#include <iostream>

#include "host/cmhost/av.h"
#include "host/cmhost/failure.h"
#include "host/cmhost/messages.h"
#include "host/cmhost/module.h"
#include "host/cmhost/picture_layout.h"

namespace cmhost {

namespace {

std::string versionText() {
  return std::string("cmhost ") + CM_VERSION + " (" + LIBAVFORMAT_IDENT + ", " + LIBAVCODEC_IDENT +
         ")";
}

const char* const examples =
    "\nExamples:\n"
    "  cmhost in.mp4 out.mp4\n"
    "  cmhost --encoder libx264 --encoder-option crf=16 in.mov out.mkv\n"
    "  cmhost --convert Y22P in10bit.mxf out.mkv\n"
    "  cmhost in.mkv - | ffplay -\n"
    "\nExit status: 0 done, 1 failed, 2 wrong usage.\n";

std::pair<std::string, std::string> keyAndValue(const std::string& text) {
  const std::size_t equals = text.find('=');
  if (equals == 0 || equals == std::string::npos)
    throw CLI::ValidationError("--encoder-option", "'" + text + "' is not of the form KEY=VALUE");
  return {text.substr(0, equals), text.substr(equals + 1)};
}

}  // namespace

std::optional<Options> parseCommandLine(int argc, char** argv, int& exitCode) {
  Options options;
  std::vector<std::string> encoderOptions;
  std::string convert;

  CLI::App app(
      "Runs a video through a filter module: decodes INPUT, has the module mark every frame "
      "and writes the result to OUTPUT. Other streams are copied.",
      "cmhost");
  app.footer(examples);
  app.add_option("INPUT", options.input, "The video file to read")->required();
  app.add_option("OUTPUT", options.output,
                 "The file to write; its name chooses the container. '-' is standard output")
      ->required();
  app.add_option("--module", options.module,
                 "The filter module to load (default: the one built or installed with cmhost)")
      ->type_name("PATH");
  app.add_option("--encoder", options.encoder,
                 "Encoder of the video (default: FFV1 in Matroska, raw video in NUT and Y4M, else "
                 "what is usual in the container)")
      ->type_name("NAME");
  app.add_option("--encoder-option", encoderOptions, "An option of the encoder; may be repeated")
      ->type_name("KEY=VALUE")
      ->allow_extra_args(false);
  app.add_option("--output-format", options.outputFormat,
                 "Container to write (default: by OUTPUT's name; yuv4mpegpipe on standard output)")
      ->type_name("NAME");
  app.add_option("--convert", convert,
                 "Convert the pixels to this layout first: IYUV is 8-bit 4:2:0, Y22P 4:2:2, Y44P "
                 "4:4:4")
      ->type_name("FOURCC")
      ->check(CLI::IsMember({"IYUV", "Y22P", "Y44P"}));
  app.add_flag("--overwrite", options.overwrite, "Replace an existing OUTPUT");
  app.set_version_flag("--version", versionText());

  try {
    app.parse(argc, argv);
    for (const std::string& text : encoderOptions)
      options.encoderOptions.push_back(keyAndValue(text));
  } catch (const CLI::CallForHelp&) {
    std::cout << app.help();
    exitCode = exitDone;
    return std::nullopt;
  } catch (const CLI::CallForVersion&) {
    std::cout << versionText() << '\n';
    exitCode = exitDone;
    return std::nullopt;
  } catch (const CLI::ParseError& error) {
    printError(std::string(error.what()) + "; see cmhost --help");
    exitCode = exitUsage;
    return std::nullopt;
  }

  if (!convert.empty()) options.convert = fourccOf(convert.c_str());
  if (options.module.empty()) options.module = defaultModulePath();
  return options;
}

}  // namespace cmhost
