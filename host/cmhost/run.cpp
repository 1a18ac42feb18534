#include "host/cmhost/run.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

#include <cstdio>
#include <filesystem>
#include <memory>

#include "host/cmhost/failure.h"
#include "host/cmhost/messages.h"
#include "host/cmhost/pipeline.h"
#include "host/cmhost/progress.h"

namespace cmhost {

namespace {

std::unique_ptr<OutputFile> openOutput(const Options& options) {
  if (options.toStandardOutput())
    return std::make_unique<OutputFile>(OutputFile::takeStandardOutput(), "standard output");
  std::error_code ignored;
  if (std::filesystem::equivalent(options.input, options.output, ignored))
    throw Failure("INPUT and OUTPUT are the same file, " + options.input, exitUsage);
  return std::make_unique<OutputFile>(options.output, options.overwrite);
}

const PictureLayout& chooseLayout(const Options& options, const AVFrame& first) {
  const auto format = static_cast<AVPixelFormat>(first.format);
  const PictureLayout* const layout =
      options.convert ? layoutOfFourcc(*options.convert) : layoutOf(format);
  if (layout == nullptr)
    throw Failure(options.input + ": the pixel format " + av_get_pix_fmt_name(format) +
                  " is none that the module takes (8-bit planar 4:2:0, 4:2:2, 4:4:4); --convert " +
                  fourccText(closestLayout(format).fourcc) +
                  " converts it to the closest of IYUV, Y22P, Y44P");
  return *layout;
}

// The range that a pixel format says by its name is said by a tag from here on.
void normaliseRange(AVFrame& frame, const PictureLayout& layout) {
  if (frame.format == layout.fullRangePixelFormat) frame.color_range = AVCOL_RANGE_JPEG;
}

void printSummary(const Options& options, const Pipeline& pipeline, const Encoder& encoder,
                  const Muxer& muxer, double seconds) {
  char rate[32];
  std::snprintf(rate, sizeof rate, "%.1f",
                static_cast<double>(pipeline.framesEncoded()) / (seconds > 0 ? seconds : 1e-3));
  printNote(frameCount(pipeline.framesEncoded()) + " in " + secondsText(seconds) + " (" + rate +
            " fps) to " + (options.toStandardOutput() ? "standard output" : options.output) + " (" +
            encoder.name() + " in " + muxer.container().name + ")");
}

}  // namespace

void run(const Options& options) {
  Input input(options.input);
  const std::unique_ptr<OutputFile> output = openOutput(options);
  Muxer muxer(*output, options.outputFormat.empty() && options.toStandardOutput()
                           ? "yuv4mpegpipe"
                           : options.outputFormat);
  Module module(options.module);

  FramePtr first = input.nextFrame();
  const PictureLayout& layout = chooseLayout(options, *first);
  std::unique_ptr<Converter> converter;
  FramePtr like(orThrow<FramePtr>(av_frame_clone(first.get())));
  if (options.convert && layoutOf(static_cast<AVPixelFormat>(first->format)) != &layout) {
    converter = std::make_unique<Converter>(*first, layout);
    like = converter->convert(*first);
  }
  normaliseRange(*like, layout);

  Pipeline pipeline(input, std::move(first), converter.get(), layout, module.filter());
  pipeline.configure();

  Encoder encoder(options, input, *like, layout, muxer);
  muxer.addCopies(input);
  muxer.start();
  Progress progress(input.expectedFrames());
  pipeline.run(muxer, encoder, [&](std::int64_t frames) { progress.show(frames); });
  muxer.finish();
  output->commit();
  progress.clear();
  printSummary(options, pipeline, encoder, muxer, progress.seconds());
}

}  // namespace cmhost
