#include "host/cmhost/options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <set>

extern "C" {
#include <libavutil/eval.h>
#include <libavutil/parseutils.h>
}

#include "host/cmhost/help_text.h"
#include "host/cmhost/module/module.h"
#include "host/cmhost/picture/picture_layout.h"
#include "host/cmhost/support/av.h"
#include "host/cmhost/support/failure.h"
#include "host/cmhost/support/messages.h"

namespace cmhost {

namespace {

std::string versionText() {
  return std::string("cmhost ") + CM_VERSION + " (" + LIBAVFORMAT_IDENT + ", " + LIBAVCODEC_IDENT +
         ")";
}

[[noreturn]] void reject(const std::string& option, const std::string& text, const char* form) {
  throw CLI::ValidationError(option, "'" + text + "' is not " + form);
}

std::pair<std::string, std::string> keyAndValue(const std::string& option,
                                                const std::string& text) {
  const std::size_t equals = text.find('=');
  if (equals == 0 || equals == std::string::npos) reject(option, text, "of the form KEY=VALUE");
  return {text.substr(0, equals), text.substr(equals + 1)};
}

bool isDigits(const std::string& text, const char* digits = "0123456789") {
  return !text.empty() && text.find_first_not_of(digits) == std::string::npos;
}

unsigned int fourccValue(const std::string& option, const std::string& text) {
  if (text.size() == 4) return fourccOf(text.c_str());
  if (text.size() != 10 || text.compare(0, 2, "0x") != 0 ||
      !isDigits(text.substr(2), "0123456789abcdefABCDEF"))
    reject(option, text, "a FourCC (four characters, or 0x and eight hexadecimal digits)");
  return static_cast<unsigned int>(std::stoul(text, nullptr, 16));
}

double crfValue(const std::string& text) {
  constexpr double most = 63;  // of all encoders
  char* end = nullptr;
  const double value = isDigits(text, "0123456789.") ? std::strtod(text.c_str(), &end) : -1;
  if (value < 0 || value > most || *end != '\0') reject("--crf", text, "a number from 0 to 63");
  return value;
}

// The suffixes k, M and G.
std::int64_t bitrateValue(const std::string& text) {
  constexpr double most = 2e9;
  char* end = nullptr;
  const double value = isDigits(text, "0123456789.kMG") ? av_strtod(text.c_str(), &end) : 0;
  if (value < 1 || value > most || *end != '\0')
    reject("--bitrate", text, "a number of bits per second, such as 5M or 800k");
  return std::llround(value);
}

// Decimals near a rate of NTSC, such as 29.97, stand for it.
AVRational rateValue(const std::string& text) {
  constexpr double most = 1000;
  constexpr double nearness = 0.006;
  AVRational rate = {0, 1};
  if (!isDigits(text, "0123456789./") || av_parse_video_rate(&rate, text.c_str()) < 0 ||
      av_q2d(rate) > most)
    reject("--rate", text, "frames per second, such as 25, 29.97 or 30000/1001");
  if (text.find('/') == std::string::npos)
    for (const int whole : {24, 30, 48, 60, 120})
      if (const AVRational ntsc = {whole * 1000, 1001};
          std::abs(av_q2d(rate) - av_q2d(ntsc)) < nearness)
        return ntsc;
  return rate;
}

double startValue(const std::string& text) {
  std::int64_t microseconds = 0;
  if (av_parse_time(&microseconds, text.c_str(), 1) < 0 || microseconds < 0)
    reject("--start", text, "a time (seconds or [HH:]MM:SS[.m])");
  return static_cast<double>(microseconds) / 1e6;
}

void parseSize(const std::string& text, Options& options) {
  const std::size_t cross = std::min(text.find('x'), text.size() - 1);
  const auto side = [&text](const std::string& digits) {
    const int value = isDigits(digits) && digits.size() <= 5 ? std::stoi(digits) : 0;
    if (value == 0) reject("--size", text, "of the form WIDTHxHEIGHT, each from 1 to 99999");
    return value;
  };
  options.inspectWidth = side(text.substr(0, cross));
  options.inspectHeight = side(text.substr(cross + 1));
}

void parsePreview(const std::string& text, Options& options) {
  const std::size_t at = text.rfind('@');
  const std::string number = at != std::string::npos ? text.substr(at + 1) : "";
  const bool numbered = isDigits(number) && number.size() <= 9;
  options.preview = numbered ? text.substr(0, at) : text;
  options.previewFrame = numbered ? std::stol(number) : 0;
  const std::string& path = options.preview;
  if (path.size() <= 4 || path.compare(path.size() - 4, 4, ".png") != 0)
    reject("--preview", text, "of the form FILE.png[@FRAME]");
}

// Limit for numbers on the command line, so that computations with them cannot overflow.
constexpr int mostNumber = 999999999;
constexpr int mostJobs = 1000;
constexpr int mostThreads = 1024;

// Options that are parsed as text first.
struct Texts {
  std::vector<std::string> inputOptions, encoderOptions, muxerOptions, keys;
  std::string crf, bitrate, rate, start, convert, sound, preview, inspect, size, layout, progress;
  std::string references, outputFolder;
  int jobs = 1;
  bool skipExisting = false;
};

void declare(CLI::App& app, Options& options, Texts& texts) {
  app.add_option("INPUT", options.input);
  app.add_option("OUTPUT", options.output);
  CLI::Option* const folder = app.add_option("--output-dir", texts.outputFolder);
  app.add_option("--jobs", texts.jobs)->check(CLI::Range(1, mostJobs))->needs(folder);
  CLI::Option* const skip =
      app.add_flag("--skip-existing", texts.skipExisting)->disable_flag_override()->needs(folder);
  app.add_flag("--overwrite", options.overwrite)->disable_flag_override()->excludes(skip);
  app.add_flag("--keep-partial", options.keepPartial)->disable_flag_override();
  app.add_flag("--no-sync{false}", options.synchronise);
  app.add_option("--output-format", options.outputFormat);
  app.add_option("--encoder", options.encoder);
  app.add_option("--encoder-option", texts.encoderOptions)->allow_extra_args(false);
  app.add_option("--muxer-option", texts.muxerOptions)->allow_extra_args(false);
  CLI::Option* const crf = app.add_option("--crf", texts.crf);
  CLI::Option* const bitrate = app.add_option("--bitrate", texts.bitrate)->excludes(crf);
  app.add_option("--preset", options.preset);
  app.add_flag("--lossless", options.lossless)
      ->disable_flag_override()
      ->excludes(crf)
      ->excludes(bitrate);
  app.add_option("--rate", texts.rate);
  app.add_option("--threads", options.threads)->check(CLI::Range(0, mostThreads));
  app.add_flag("--list-encoders", options.listEncoders)->disable_flag_override();
  app.add_flag("--compare", options.compare)->disable_flag_override();
  app.add_option("--audio", texts.sound)->check(CLI::IsMember({"copy", "encode", "none"}));
  app.add_flag("--keep-other-video", options.keepOtherVideo)->disable_flag_override();
  app.add_flag("--strict", options.strict)->disable_flag_override();
  app.add_option("--input-format", options.inputFormat);
  app.add_option("--input-option", texts.inputOptions)->allow_extra_args(false);
  app.add_option("--allow-references", texts.references)->check(CLI::IsMember({"file", "network"}));
  app.add_flag("--conceal", options.conceal)->disable_flag_override();
  app.add_option("--max-pixels", options.maxPixels)->check(CLI::Range(1, mostNumber));
  app.add_option("--video", options.video)->check(CLI::Range(0, mostNumber));
  app.add_option("--start", texts.start);
  app.add_option("--frames", options.frames)->check(CLI::Range(1, mostNumber));
  app.add_option("--convert", texts.convert)
      ->check(CLI::IsMember({"auto", "IYUV", "Y22P", "Y44P"}));
  app.add_flag("--no-rotate{false}", options.rotate);
  app.add_option("--module", options.module);
  app.add_option("--set", texts.keys)->allow_extra_args(false);
  app.add_option("--module-timeout", options.moduleTimeout)->check(CLI::Range(0, mostNumber));
  CLI::Option* const inspect = app.add_option("--inspect", texts.inspect);
  app.add_option("--size", texts.size)->needs(inspect);
  app.add_option("--layout", texts.layout)->needs(inspect);
  app.add_flag("--json", options.json)->disable_flag_override()->needs(inspect);
  app.add_option("--preview", texts.preview);
  app.add_option("--hash", options.hash);
  app.add_option("--report", options.report);
  app.add_option("--progress", texts.progress)
      ->check(CLI::IsMember({"auto", "always", "never", "json"}));
  app.add_flag("-q,--quiet", options.quiet)->disable_flag_override();
  app.set_version_flag("--version", versionText());
  for (const char* const other : {"INPUT", "--module", "--hash", "--report", "--preview",
                                  "--convert", "--frames", "--start", "--no-rotate"})
    inspect->excludes(app.get_option(other));
  for (const char* const other : {"--inspect", "--hash", "--preview"})
    folder->excludes(app.get_option(other));
}

// The options of this run that also apply to the run of each input.
std::vector<std::string> optionsForChildren(const CLI::App& app) {
  static const std::set<std::string> own = {"--output-dir", "--jobs", "--skip-existing",
                                            "--report"};
  std::vector<std::string> words;
  for (const CLI::Option* const option : app.get_options()) {
    if (option->count() == 0 || option->get_positional() || own.count(option->get_name()) != 0)
      continue;
    if (option->get_items_expected_max() == 0) {
      words.push_back(option->get_name());
      continue;
    }
    for (const std::string& value : option->results())
      words.push_back(option->get_name() + "=" + value);
  }
  return words;
}

// The operands are in INPUT, OUTPUT and the rest.
void interpretBatch(const CLI::App& app, const Texts& texts, Options& options) {
  options.batch = {texts.outputFolder, texts.jobs, texts.skipExisting, {}, {}};
  std::vector<std::string>& inputs = options.batch->inputs;
  for (const std::string& operand : {options.input, options.output})
    if (!operand.empty()) inputs.push_back(operand);
  for (const std::string& word : app.remaining())
    if (word != "--") inputs.push_back(word);
  if (inputs.empty()) throw CLI::RequiredError("INPUT");
  options.batch->childOptions = optionsForChildren(app);
  options.input = options.output = "";
}

// The value of an unknown option is parsed as an operand, so report unknown options first.
void refuseRest(const CLI::App& app) {
  const std::vector<std::string> rest = app.remaining();
  const auto operands = std::find(rest.begin(), rest.end(), "--");
  const auto option = std::find_if(rest.begin(), operands, [](const std::string& word) {
    return word.size() > 1 && word[0] == '-';
  });
  if (option != operands) throw CLI::ValidationError("unrecognized option '" + *option + "'");
  if (app.count("--output-dir") > 0) return;
  for (const std::string& word : rest)
    if (word != "--") throw CLI::ValidationError("extra operand '" + word + "'");
}

// The library describes these with the types of the values.
std::string mismatchText(const CLI::ArgumentMismatch& error) {
  const std::string text = error.what();
  const std::string option = text.substr(0, text.find(':'));
  return option + (text.find("received") != std::string::npos ? " may be given only once"
                                                              : " requires a value");
}

// An existing report is replaced; only files with this extension can be.
void checkReport(const Options& options) {
  const std::string& report = options.report;
  if (report == "-" && (options.toStandardOutput() || options.hash == "-"))
    throw CLI::ValidationError("--report", "standard output is already used");
  if (!report.empty() && (report == options.output || report == options.hash))
    throw CLI::ValidationError("--report", "'" + report + "' is also another output");
  const bool isJson = report.size() > 5 && report.compare(report.size() - 5, 5, ".json") == 0;
  if (!report.empty() && report != "-" && !isJson)
    reject("--report", report, "of the form FILE.json");
}

void checkTogether(const Options& options) {
  if (options.inspect || options.listEncoders) return;
  checkReport(options);
  if (options.batch) return;
  if (options.input.empty()) throw CLI::RequiredError("INPUT");
  if (options.output.empty()) throw CLI::RequiredError("OUTPUT");
  if (options.toStandardOutput() && options.hash == "-")
    throw CLI::ValidationError("--hash", "standard output is already used for the video");
  if (!options.hash.empty() && options.hash != "-" && options.hash == options.output)
    throw CLI::ValidationError("--hash", "'" + options.hash + "' is also OUTPUT");
}

void interpret(const CLI::App& app, const Texts& texts, Options& options) {
  for (const std::string& text : texts.encoderOptions)
    options.encoderOptions.push_back(keyAndValue("--encoder-option", text));
  for (const std::string& text : texts.muxerOptions)
    options.muxerOptions.push_back(keyAndValue("--muxer-option", text));
  for (const std::string& text : texts.inputOptions)
    options.inputOptions.push_back(keyAndValue("--input-option", text));
  for (const std::string& text : texts.keys) {
    const auto [key, value] = keyAndValue("--set", text);
    options.keys.emplace_back(key, fourccValue("--set", value));
  }
  if (app.count("--crf") > 0) options.crf = crfValue(texts.crf);
  if (app.count("--rate") > 0) options.rate = rateValue(texts.rate);
  if (app.count("--bitrate") > 0) options.bitrate = bitrateValue(texts.bitrate);
  if (!texts.start.empty()) options.start = startValue(texts.start);
  options.convertAsNeeded = texts.convert == "auto";
  if (!texts.convert.empty() && !options.convertAsNeeded)
    options.convert = fourccOf(texts.convert.c_str());
  if (app.count("--preview") > 0) parsePreview(texts.preview, options);
  if (app.count("--size") > 0) parseSize(texts.size, options);
  options.inspectLayout =
      fourccValue("--layout", app.count("--layout") > 0 ? texts.layout : "IYUV");
  options.inspect = app.count("--inspect") > 0;
  if (texts.sound == "encode") options.sound = SoundMode::encode;
  if (texts.sound == "none") options.sound = SoundMode::none;
  if (texts.references == "file") options.references = AllowedReferences::files;
  if (texts.references == "network") options.references = AllowedReferences::network;
  if (texts.progress == "always") options.progress = ProgressMode::always;
  if (texts.progress == "never") options.progress = ProgressMode::never;
  if (texts.progress == "json") options.progress = ProgressMode::json;
  if (app.count("--output-dir") > 0) interpretBatch(app, texts, options);
  checkTogether(options);
  if (options.inspect) options.module = texts.inspect;
  if (options.module.empty()) options.module = defaultModulePath();
}

}  // namespace

std::optional<Options> parseCommandLine(int argc, char** argv, int& exitCode) {
  Options options;
  Texts texts;
  CLI::App app("", "cmhost");
  declare(app, options, texts);
  app.allow_extras();
  try {
    app.parse(argc, argv);
    refuseRest(app);
    interpret(app, texts, options);
    return options;
  } catch (const CLI::CallForHelp&) {
    printResult(helpText);
    exitCode = exitDone;
  } catch (const CLI::CallForVersion&) {
    printResult(versionText() + "\n");
    exitCode = exitDone;
  } catch (const CLI::ArgumentMismatch& error) {
    printError(mismatchText(error) + "; see cmhost --help");
    exitCode = exitUsage;
  } catch (const CLI::ParseError& error) {
    printError(std::string(error.what()) + "; see cmhost --help");
    exitCode = exitUsage;
  }
  return std::nullopt;
}

}  // namespace cmhost
