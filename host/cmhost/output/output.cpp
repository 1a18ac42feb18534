#include "host/cmhost/output/output.h"

#include <chrono>
#include <filesystem>
#include <utility>

#include "host/cmhost/output/encoder_choice.h"
#include "host/cmhost/output/still_pictures.h"
#include "host/cmhost/picture/side_by_side.h"
#include "host/cmhost/support/failure.h"
#include "host/cmhost/support/messages.h"
#include "host/cmhost/support/picture_names.h"

namespace cmhost {

namespace {

void refuseInput(const Options& options, const std::string& path, const char* what) {
  std::error_code ignored;
  if (isNumbered(path) && path == options.input)
    throw Failure(std::string("INPUT and ") + what + " are the same files, " + path, exitUsage);
  if (std::filesystem::equivalent(options.input, path, ignored))
    throw Failure(std::string("INPUT and ") + what + " are the same file, " + options.input,
                  exitUsage);
}

void refuseSamePlace(const OutputFile& one, const OutputFile& other, const std::string& what) {
  if (one.isSamePlace(other)) throw Failure(what + " are the same file, " + one.name(), exitUsage);
}

// The container of an output without a file name; empty if the name decides.
std::string usualContainer(const std::string& output) {
  if (output == "-") return "yuv4mpegpipe";
  const std::string scheme = schemeOf(output);
  if (scheme.rfind("rtmp", 0) == 0) return "flv";
  if (scheme == "rtp") return "rtp_mpegts";
  const bool isNamed =
      scheme.rfind("http", 0) == 0 && av_guess_format(nullptr, output.c_str(), nullptr) != nullptr;
  return scheme.empty() || isNamed ? "" : "mpegts";
}

}  // namespace

Output::Output(const Options& options) : options_(options) {
  const OutputFile::Mode mode = {options.overwrite, options.keepPartial, options.synchronise};
  const OutputFile::Mode extraMode = {options.overwrite, false, options.synchronise};
  if (!options.toNowhere()) {
    if (!options.toStandardOutput()) refuseInput(options, options.output, "OUTPUT");
    openVideo(mode);
  }
  if (isNetworkAddress(options.input) || isNetworkAddress(options.output)) lateFrames_ = 0;
  if (!options.preview.empty()) {
    refuseInput(options, options.preview, "--preview");
    preview_ = std::make_unique<Preview>(options.preview, extraMode);
    if (file_ != nullptr) refuseSamePlace(*file_, preview_->file(), "OUTPUT and --preview");
  }
  if (!options.hash.empty()) {
    refuseInput(options, options.hash, "--hash");
    digests_ = std::make_unique<FrameDigests>(options.hash, extraMode);
    if (file_ != nullptr) refuseSamePlace(*file_, digests_->file(), "OUTPUT and --hash");
    if (preview_ != nullptr)
      refuseSamePlace(preview_->file(), digests_->file(), "--preview and --hash");
  }
}

void Output::openVideo(OutputFile::Mode mode) {
  const std::string& path = options_.output;
  if (!isNetworkAddress(path) && isStillOutput(path, options_.outputFormat)) {
    file_ = std::make_unique<OutputFile>(numberedName(path, 1), mode);
    muxer_ = std::make_unique<Muxer>(*file_, stillContainer(), path);
    return;
  }
  if (isNetworkAddress(path))
    file_ = std::make_unique<OutputFile>(path, options_.muxerOptions);
  else if (Playlist::isNamed(path, options_.outputFormat))
    file_ = std::make_unique<OutputFile>(path, mode, OutputFile::Playlist());
  else
    file_ = std::make_unique<OutputFile>(path, mode);
  const std::string container =
      options_.outputFormat.empty() ? usualContainer(path) : options_.outputFormat;
  muxer_ = std::make_unique<Muxer>(*file_, container, options_.input);
}

StoredSamples Output::storedSamples(AVCodecID from) const {
  if (muxer_ == nullptr) return {};
  const AVCodec& codec = chooseEncoder(options_, muxer_->container(), from);
  return {EncoderInput::storesRgb(codec), EncoderInput::storesFullRange(codec)};
}

const std::string& Output::name() const {
  return file_ != nullptr ? file_->name() : options_.output;
}

std::string Output::description() const {
  if (file_ == nullptr) return name();
  return name() + " (" + encoder_->name() + " in " + muxer_->container().name + ")";
}

std::string Output::container() const { return started_ ? muxer_->container().name : ""; }

std::string Output::encoder() const { return started_ ? encoder_->name() : ""; }

std::vector<int> Output::streamsLeftOut() const {
  return started_ ? muxer_->streamsLeftOut() : std::vector<int>();
}

std::string Output::framesMd5() { return framesSum_ != nullptr ? framesSum_->text() : ""; }

void Output::start(const Source& source, const AVFrame& first, const PictureLayout& layout) {
  layout_ = &layout;
  timeBase_ = source.video.time_base;
  if (!options_.report.empty()) framesSum_ = std::make_unique<Md5>();
  if (file_ != nullptr) startVideo(source, first, layout);
  if (digests_ != nullptr) digests_->start(source, first);
}

void Output::startVideo(const Source& source, const AVFrame& first, const PictureLayout& layout) {
  const FramePtr like = emptyFrameLike(first);
  if (options_.compare) like->width = sideBySideWidth(first.width);
  encoder_ = std::make_unique<Encoder>(options_, source, *like, layout, *muxer_);
  muxer_->addOthers(source, options_);
  muxer_->start(file_->isNetwork() ? file_->muxerOptions() : options_.muxerOptions);
  started_ = true;
}

void Output::put(FramePtr marked, const AVFrame& original) {
  if (digests_ != nullptr) digests_->add(*marked);
  if (framesSum_ != nullptr) framesSum_->add(*marked);
  if (frames_ == 0) firstPts_ = marked->pts;
  const double end = static_cast<double>(marked->pts - firstPts_ + durationOf(*marked));
  seconds_ = end * av_q2d(timeBase_);
  if (lateFrames_ >= 0) {
    late_.add(LateFrames::Seconds(seconds_), std::chrono::steady_clock::now().time_since_epoch());
    lateFrames_ = late_.count();
  }
  if (options_.compare) marked = sideBySide(original, *marked, *layout_);
  if (preview_ != nullptr && frames_ == options_.previewFrame) preview_->write(*marked);
  if (encoder_ != nullptr) encoder_->encode(std::move(marked));
  ++frames_;
}

void Output::putOther(AVPacket& packet) {
  if (muxer_ != nullptr) muxer_->writeOther(packet);
}

void Output::endFrames() {
  framesEnded_ = true;
  if (encoder_ != nullptr) encoder_->finish();
}

void Output::commit() {
  if (muxer_ != nullptr) {
    muxer_->finish();
    if (framesSum_ != nullptr) content_ = file_->content();
    file_->finish();
    finished_ = true;
  }
  if (digests_ != nullptr) digests_->finish();
  if (preview_ != nullptr) preview_->put();
  if (digests_ != nullptr) digests_->put();
  if (file_ != nullptr) file_->put();  // last, so that an existing video means that all files exist
}

std::string Output::leftOutText() const { return muxer_ != nullptr ? muxer_->leftOutText() : ""; }

std::string Output::missingPreview() const {
  if (preview_ == nullptr || frames_ > options_.previewFrame) return {};
  return preview_->name() + ": not written: there is no frame " +
         std::to_string(options_.previewFrame) + ", the output has only " + framesText(frames_);
}

void Output::keepPartial() {
  if (!started_ || file_->partialName().empty()) return;
  if (!finished_) {
    try {
      if (!framesEnded_) endFrames();
      muxer_->finish();
    } catch (...) {
      // Keep the file without its trailer.
    }
    avio_flush(file_->io());
  }
  printNote(file_->partialName() + ": kept " + framesText(frames_));
}

void Output::checkReader() const {
  if (file_ != nullptr) file_->checkReader();
}

void Output::abandon() {
  if (file_ != nullptr) file_->abandon();
}

}  // namespace cmhost
