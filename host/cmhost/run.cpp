#include "host/cmhost/run.h"

#include <cmath>
#include <cstdio>
#include <memory>
#include <new>
#include <optional>
#include <utility>

#include "host/cmhost/frame_source.h"
#include "host/cmhost/output/output.h"
#include "host/cmhost/output/standard_output.h"
#include "host/cmhost/pipeline.h"
#include "host/cmhost/progress.h"
#include "host/cmhost/report.h"
#include "host/cmhost/support/failure.h"
#include "host/cmhost/support/interruption.h"
#include "host/cmhost/support/messages.h"

namespace cmhost {

namespace {

long percent(double share) { return std::lround(share * 100); }

std::string leftOutText(const Output& output) {
  const std::string streams = output.leftOutText();
  return streams.empty() ? "" : "; left out: " + streams;
}

void printSummary(const Output& output, const Pipeline::Shares& busy, double seconds) {
  char rate[32];
  std::snprintf(rate, sizeof rate, "%.1f",
                static_cast<double>(output.frames()) / (seconds > 0 ? seconds : 1e-3));
  printNote(framesText(output.frames()) + " in " + secondsText(seconds) + " (" + rate +
            " fps) to " + output.description() + "; busy: reading " +
            std::to_string(percent(busy.reading)) + "%, module " +
            std::to_string(percent(busy.component)) + "%, writing " +
            std::to_string(percent(busy.writing)) + "%" +
            (output.lateFrames() > 0 ? "; late: " + framesText(output.lateFrames()) : "") +
            leftOutText(output));
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
  Watch(Progress& progress, const Input& input, const Output& output, bool quiet)
      : progress_(progress), input_(input), output_(output), quiet_(quiet) {}

  void operator()() {
    progress_.show(
        {output_.frames(), output_.seconds(), input_.damage().count(), output_.lateFrames()});
    if (interruption::received() != 0 && !said_ && !quiet_)
      printNote("interrupted: finishing frames in flight; press Ctrl-C again to exit now");
    said_ = interruption::received() != 0;
    output_.checkReader();
  }

 private:
  Progress& progress_;
  const Input& input_;
  const Output& output_;
  bool quiet_;
  bool said_ = false;
};

int mark(const Options& options, Report& report) {
  Input input(options);
  Output output(options);
  Module module(options.module, options.moduleTimeout);

  FrameSource frames(input, options, output.storedSamples(input.codec()));
  const FramePtr like = emptyFrameLike(frames.first());
  std::optional<Pipeline> pipeline(std::in_place, input, frames, module,
                                   Pipeline::Mode{options.keepPartial, options.compare});
  ConfigurationKeys keys = {{layoutKey, frames.layout().fourcc}};
  keys.insert(keys.end(), options.keys.begin(), options.keys.end());
  pipeline->configure(keys);

  Progress progress(options, input.expectedFrames());
  Watch watch(progress, input, output, options.quiet);
  Pipeline::Shares busy = {};
  try {
    output.start(frames.source(), *like, frames.layout());
    pipeline->run(output, watch);
    busy = pipeline->busyShares();
    warnOfMissingFrames(module, *pipeline);
    pipeline.reset();
    module.unload();  // it must not run any more code after the output is renamed
    output.commit();
  } catch (...) {
    progress.clear();
    report.take(input, output);
    output.keepPartial();
    throw;
  }
  progress.clear();
  report.take(input, output);
  if (const std::string missing = output.missingPreview(); !missing.empty()) {
    if (!input.stopped()) throw Failure(missing);
    printWarning(missing);
  }
  if (input.stopped())
    printNote("interrupted: " + output.name() + " was closed properly and contains " +
              framesText(output.frames()) + leftOutText(output));
  else if (!options.quiet)
    printSummary(output, busy, progress.seconds());
  else if (const std::string streams = output.leftOutText(); !streams.empty())
    printWarning(output.name() + ": left out: " + streams);
  warnOfDamage(input);
  if (input.stopped()) return exitSignal + interruption::received();
  return input.damage().count() > 0 ? exitDamaged : exitDone;
}

// An error of the run itself is more important than one of its report.
void reportFailure(Report& report, const std::string& error, int status) noexcept {
  const int signal = interruption::received();
  try {
    report.write(signal != 0 ? exitSignal + signal : status, error);
  } catch (const std::exception& exception) {
    printWarning(exception.what());
  }
}

}  // namespace

int run(const Options& options) {
  standard_output::reserve(options.quiet);
  Report report(options);
  int status = exitFailed;
  try {
    status = mark(options, report);
  } catch (const Failure& failure) {
    reportFailure(report, failure.what(), failure.exitCode());
    throw;
  } catch (const std::bad_alloc&) {
    reportFailure(report, "out of memory", exitFailed);
    throw;
  } catch (const std::exception& exception) {
    reportFailure(report, exception.what(), exitFailed);
    throw;
  }
  report.write(status, "");
  return status;
}

}  // namespace cmhost
