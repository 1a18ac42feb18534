#include "host/cmhost/run.h"

#include <cmath>
#include <cstdio>
#include <memory>
#include <optional>
#include <utility>

#include "host/cmhost/frame_source.h"
#include "host/cmhost/output/output.h"
#include "host/cmhost/output/standard_output.h"
#include "host/cmhost/pipeline.h"
#include "host/cmhost/progress.h"
#include "host/cmhost/support/failure.h"
#include "host/cmhost/support/interruption.h"
#include "host/cmhost/support/messages.h"

namespace cmhost {

namespace {

long percent(double share) { return std::lround(share * 100); }

void printSummary(const Output& output, const Pipeline::Shares& busy, double seconds) {
  char rate[32];
  std::snprintf(rate, sizeof rate, "%.1f",
                static_cast<double>(output.frames()) / (seconds > 0 ? seconds : 1e-3));
  printNote(framesText(output.frames()) + " in " + secondsText(seconds) + " (" + rate +
            " fps) to " + output.description() + "; busy: reading " +
            std::to_string(percent(busy.reading)) + "%, module " +
            std::to_string(percent(busy.component)) + "%, writing " +
            std::to_string(percent(busy.writing)) + "%");
}

void warnOfMissingFrames(const Module& module, const Pipeline& pipeline) {
  if (pipeline.framesPut() == pipeline.framesGiven()) return;
  printWarning(module.path() + ": the module returned " + std::to_string(pipeline.framesPut()) +
               " of the " + framesText(pipeline.framesGiven()));
}

void warnOfDamage(const Input& input) {
  const std::int64_t count = input.damage().count();
  if (count == 0) return;
  const DamageLog::Place first = input.damage().places().front();
  printWarning(input.name() + ": damaged: concealed " + std::to_string(count) +
               (count == 1 ? " error" : " errors, the first") + " at frame " +
               std::to_string(first.frame) + " (" + secondsText(first.seconds) +
               "): " + first.what);
}

// Prints a note once after a signal, and detects a reader that closed the pipe while nothing is
// written.
class Watch {
 public:
  Watch(Progress& progress, const Output& output, bool quiet)
      : progress_(progress), output_(output), quiet_(quiet) {}

  void operator()() {
    progress_.show(output_.frames());
    if (interruption::received() != 0 && !said_ && !quiet_)
      printNote("interrupted: finishing frames in flight; press Ctrl-C again to exit now");
    said_ = interruption::received() != 0;
    output_.checkReader();
  }

 private:
  Progress& progress_;
  const Output& output_;
  bool quiet_;
  bool said_ = false;
};

}  // namespace

int run(const Options& options) {
  standard_output::reserve(options.quiet);
  Input input(options);
  Output output(options);
  Module module(options.module, options.moduleTimeout);

  FrameSource frames(input, options);
  const FramePtr like = emptyFrameLike(frames.first());
  std::optional<Pipeline> pipeline(std::in_place, input, frames, module,
                                   Pipeline::Mode{options.keepPartial, options.compare});
  ConfigurationKeys keys = {{layoutKey, frames.layout().fourcc}};
  keys.insert(keys.end(), options.keys.begin(), options.keys.end());
  pipeline->configure(keys);

  output.start(input.source(), *like, frames.layout());
  Progress progress(options.quiet ? ProgressMode::never : options.progress, input.expectedFrames());
  Watch watch(progress, output, options.quiet);
  Pipeline::Shares busy = {};
  try {
    pipeline->run(output, watch);
    busy = pipeline->busyShares();
    warnOfMissingFrames(module, *pipeline);
    pipeline.reset();
    module.unload();  // it must not run any more code after the output is renamed
    output.commit();
  } catch (...) {
    progress.clear();
    output.keepPartial();
    throw;
  }
  progress.clear();
  if (const std::string missing = output.missingPreview(); !missing.empty()) {
    if (!input.stopped()) throw Failure(missing);
    printWarning(missing);
  }
  if (input.stopped())
    printNote("interrupted: " + output.name() + " was closed properly and contains " +
              framesText(output.frames()));
  else if (!options.quiet)
    printSummary(output, busy, progress.seconds());
  warnOfDamage(input);
  if (input.stopped()) return exitSignal + interruption::received();
  return input.damage().count() > 0 ? exitDamaged : exitDone;
}

}  // namespace cmhost
