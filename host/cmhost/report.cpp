#include "host/cmhost/report.h"

#include <chrono>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

#include "host/cmhost/progress.h"
#include "host/cmhost/support/failure.h"
#include "host/cmhost/support/interruption.h"
#include "host/cmhost/support/messages.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace cmhost {

namespace {

using Json = nlohmann::ordered_json;
using Clock = std::chrono::steady_clock;

std::string textOf(const char* text) { return text != nullptr ? text : ""; }

std::string utcNow() {
  const std::time_t now = std::time(nullptr);
  std::tm parts = {};
  ::gmtime_r(&now, &parts);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
  return text;
}

Json describe(const AVStream& stream) {
  const AVCodecParameters& parameters = *stream.codecpar;
  return {{"index", stream.index},
          {"type", textOf(av_get_media_type_string(parameters.codec_type))},
          {"codec", avcodec_get_name(parameters.codec_id)}};
}

Json describeVideo(const Source& source) {
  const AVCodecParameters& parameters = *source.video.codecpar;
  Json video = describe(source.video);
  video["width"] = parameters.width;
  video["height"] = parameters.height;
  video["pixel_format"] =
      textOf(av_get_pix_fmt_name(static_cast<AVPixelFormat>(parameters.format)));
  if (source.frameRate.num > 0)
    video["frame_rate"] =
        std::to_string(source.frameRate.num) + "/" + std::to_string(source.frameRate.den);
  return video;
}

Json describeInput(Input& input, const std::string& name) {
  const Source source = input.source();
  Json result = {{"name", name}, {"container", source.format.iformat->name}};
  if (input.bytes() >= 0) result["bytes"] = input.bytes();
  if (source.format.duration != AV_NOPTS_VALUE)
    result["duration"] = static_cast<double>(source.format.duration) / AV_TIME_BASE;
  result["video"] = describeVideo(source);
  result["streams"] = Json::array();
  for (unsigned int i = 0; i < source.format.nb_streams; ++i)
    result["streams"].push_back(describe(*source.format.streams[i]));
  return result;
}

Json describeOutput(const Output& output, const std::string& name) {
  Json result = {{"name", name}};
  if (output.container().empty()) return result;
  result["container"] = output.container();
  result["encoder"] = output.encoder();
  if (output.content().bytes >= 0) {
    result["bytes"] = output.content().bytes;
    result["md5"] = output.content().md5;
  }
  return result;
}

Json describeDamage(const DamageLog& log) {
  Json places = Json::array();
  for (const DamageLog::Place& place : log.places())
    places.push_back({{"frame", place.frame}, {"time", place.seconds}, {"what", place.what}});
  return {{"count", log.count()}, {"places", places}};
}

Json describeLeftOut(Input& input, const Output& output) {
  Json streams = Json::array();
  for (const int index : output.streamsLeftOut())
    streams.push_back(describe(*input.source().format.streams[index]));
  return streams;
}

const char* resultText(int status) {
  if (status == exitDone) return "done";
  if (status == exitDamaged) return "done with damage";
  return status > exitSignal ? "interrupted" : "failed";
}

}  // namespace

std::unique_ptr<OutputFile> openReport(const Options& options) {
  if (options.report.empty()) return nullptr;
  std::vector<std::string> inputs = {options.input};
  if (options.batch) inputs = options.batch->inputs;
  for (const std::string& input : inputs) {
    std::error_code ignored;
    if (std::filesystem::equivalent(input, options.report, ignored))
      throw Failure("INPUT and --report are the same file, " + input, exitUsage);
  }
  const OutputFile::Mode mode = {true, false, options.synchronise};
  return std::make_unique<OutputFile>(options.report, mode);
}

void writeReport(OutputFile& file, const std::string& text) {
  avio_write(file.io(), reinterpret_cast<const unsigned char*>(text.data()),
             static_cast<int>(text.size()));
  avio_w8(file.io(), '\n');
  file.finish();
  file.put();
}

struct Report::Content {
  std::string started = utcNow();
  Clock::time_point begin = Clock::now();
  Json input;
  Json output;
  Json damage = {{"count", 0}, {"places", Json::array()}};
  Json leftOut = Json::array();
  std::string framesMd5;
  std::int64_t frames = 0;
  std::int64_t expected = 0;
  double seconds = 0;  ///< of the video
  std::int64_t late = -1;
};

Report::Report(const Options& options) : options_(options), content_(std::make_unique<Content>()) {
  content_->input = {{"name", options.input}};
  content_->output = {{"name", options.output}};
  file_ = openReport(options);
}

Report::~Report() = default;

void Report::take(Input& input, Output& output) {
  content_->input = describeInput(input, options_.input);
  content_->output = describeOutput(output, options_.output);
  content_->damage = describeDamage(input.damage());
  content_->leftOut = describeLeftOut(input, output);
  content_->framesMd5 = output.framesMd5();
  content_->frames = output.frames();
  content_->expected = input.expectedFrames();
  content_->seconds = output.seconds();
  content_->late = output.lateFrames();
}

void Report::write(int status, const std::string& error) {
  const std::chrono::duration<double> took = Clock::now() - content_->begin;
  if (options_.progress == ProgressMode::json)
    printProgressLine({"end", options_.input, content_->frames, content_->expected,
                       content_->seconds, took.count(), content_->damage["count"], content_->late},
                      {status, error});
  if (file_ == nullptr) return;
  Json report = {
      {"program", "cmhost " CM_VERSION}, {"status", status}, {"result", resultText(status)}};
  if (!error.empty()) report["error"] = error;
  report["started"] = content_->started;
  report["seconds"] = took.count();
  report["input"] = content_->input;
  report["output"] = content_->output;
  report["frames"] = content_->frames;
  report["duration"] = content_->seconds;
  if (!content_->framesMd5.empty()) report["frames_md5"] = content_->framesMd5;
  if (content_->late >= 0) report["frames_late"] = content_->late;
  report["damage"] = content_->damage;
  report["streams_left_out"] = content_->leftOut;
  report["warnings"] = printedWarnings();
  writeReport(*file_, report.dump(2, ' ', false, Json::error_handler_t::replace));
}

}  // namespace cmhost
