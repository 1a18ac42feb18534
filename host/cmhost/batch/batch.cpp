#include "host/cmhost/batch/batch.h"

#include <poll.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <utility>

#include "host/cmhost/batch/batch_plan.h"
#include "host/cmhost/batch/child_run.h"
#include "host/cmhost/output/standard_output.h"
#include "host/cmhost/report.h"
#include "host/cmhost/support/failure.h"
#include "host/cmhost/support/interruption.h"
#include "host/cmhost/support/messages.h"

namespace cmhost {

namespace {

using Json = nlohmann::ordered_json;

// Processes are also looked after when they print nothing.
constexpr int waitMilliseconds = 100;

// The later, the worse.
int severity(int status) {
  if (status == exitDone) return 0;
  if (status == exitDamaged) return 1;
  return status == exitUsage ? 2 : 3;
}

class Batch {
 public:
  explicit Batch(const Options& options)
      : options_(options), items_(planBatch(options)), report_(openReport(options)) {
    std::error_code error;
    std::filesystem::create_directories(options.batch->folder, error);
    if (error) throw Failure(options.batch->folder.string() + ": " + error.message());
    files_.resize(items_.size());
  }

  int run() {
    while (next_ < items_.size() || !running_.empty()) {
      startMore();
      if (running_.empty()) break;
      wait();
      passSignalOn();
      finishEnded();
    }
    for (; next_ < items_.size(); ++next_)
      note(next_, "not started", exitSignal + interruption::received());
    const int signal = interruption::received();
    const int status = signal != 0 ? exitSignal + signal : worst_;
    summarise();
    writeReport(status);
    return status;
  }

 private:
  struct Running {
    std::size_t item;
    std::unique_ptr<ChildRun> run;
  };

  void startMore() {
    while (running_.size() < static_cast<std::size_t>(options_.batch->jobs) &&
           next_ < items_.size() && interruption::received() == 0) {
      const BatchItem& item = items_[next_];
      std::error_code ignored;
      if (options_.batch->skipExisting && std::filesystem::exists(item.output, ignored))
        note(next_, "skipped", exitDone);
      else
        running_.push_back({next_, std::make_unique<ChildRun>(escaped(item.input), words(item))});
      ++next_;
    }
  }

  std::vector<std::string> words(const BatchItem& item) const {
    std::vector<std::string> result = {"cmhost"};
    result.insert(result.end(), options_.batch->childOptions.begin(),
                  options_.batch->childOptions.end());
    if (report_ != nullptr) result.insert(result.end(), {"--report", "-"});
    result.insert(result.end(), {"--", item.input, item.output});
    return result;
  }

  void wait() {
    std::vector<pollfd> waits;
    if (!isPassedOn_) waits.push_back({interruption::descriptor(), POLLIN, 0});
    for (const Running& each : running_) each.run->addTo(waits);
    ::poll(waits.data(), waits.size(), waitMilliseconds);
  }

  // A terminal signals the children as well; they take both for one.
  void passSignalOn() {
    if (isPassedOn_ || interruption::received() == 0) return;
    isPassedOn_ = true;
    for (const Running& each : running_) each.run->signal(interruption::received());
  }

  void finishEnded() {
    for (const Running& each : running_) {
      each.run->advance();
      if (each.run->status()) finish(each.item, *each.run);
    }
    running_.erase(std::remove_if(running_.begin(), running_.end(),
                                  [](const Running& each) { return each.run->status(); }),
                   running_.end());
  }

  void finish(std::size_t index, const ChildRun& run) {
    const int status = *run.status() >= 0 ? *run.status() : int{exitFailed};
    if (severity(status) > severity(worst_)) worst_ = status;
    const char* const result = status == exitDone      ? "done"
                               : status == exitDamaged ? "done with damage"
                               : status > exitSignal   ? "interrupted"
                                                       : "failed";
    note(index, result, status);
    if (*run.status() < 0) {
      const std::string error = "ended by signal " + std::to_string(-*run.status()) + " (" +
                                ::strsignal(-*run.status()) + ")";
      printError(items_[index].input + ": " + error);
      files_[index]["error"] = error;
    }
    Json report = Json::parse(run.output(), nullptr, false);
    if (report.is_object()) files_[index] = std::move(report);
  }

  void note(std::size_t index, const char* result, int status) {
    ++counts_[result];
    files_[index] = {{"status", status},
                     {"result", result},
                     {"input", {{"name", items_[index].input}}},
                     {"output", {{"name", items_[index].output}}}};
  }

  double seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - began_).count();
  }

  void summarise() const {
    if (options_.quiet) return;
    std::string text;
    for (const char* const result :
         {"done", "done with damage", "failed", "interrupted", "skipped", "not started"})
      if (const auto found = counts_.find(result); found != counts_.end())
        text += (text.empty() ? "" : ", ") + std::to_string(found->second) + " " + result;
    printNote(std::to_string(items_.size()) + (items_.size() == 1 ? " file" : " files") + " in " +
              secondsText(seconds()) + ": " + text);
  }

  void writeReport(int status) {
    if (report_ == nullptr) return;
    const Json all = {{"program", "cmhost " CM_VERSION},
                      {"status", status},
                      {"seconds", seconds()},
                      {"files", files_}};
    cmhost::writeReport(*report_, all.dump(2, ' ', false, Json::error_handler_t::replace));
  }

  const Options& options_;
  std::vector<BatchItem> items_;
  std::unique_ptr<OutputFile> report_;  ///< null without --report
  std::vector<Json> files_;             ///< reports, by item
  std::vector<Running> running_;
  std::map<std::string, int> counts_;  ///< of files, by result
  std::size_t next_ = 0;
  int worst_ = exitDone;
  bool isPassedOn_ = false;  ///< a signal
  std::chrono::steady_clock::time_point began_ = std::chrono::steady_clock::now();
};

}  // namespace

int runBatch(const Options& options) {
  standard_output::reserve(options.quiet);
  return Batch(options).run();
}

}  // namespace cmhost
