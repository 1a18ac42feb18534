#pragma once

#include <memory>
#include <string>

#include "host/cmhost/input/input.h"
#include "host/cmhost/options.h"
#include "host/cmhost/output/output.h"

namespace cmhost {

/// Opens the file of --report; null without it. Throws `Failure`, also if it is an input.
std::unique_ptr<OutputFile> openReport(const Options& options);

/// Writes a report and gives the file its name. Throws `Failure`.
void writeReport(OutputFile& file, const std::string& text);

/// The report of a run for machines: the file of --report, and the last line of --progress=json.
/// It is also written when the run fails.
class Report {
 public:
  /// Opens the file if the options ask for one. Throws `Failure`.
  explicit Report(const Options& options);
  ~Report();
  Report(const Report&) = delete;
  Report& operator=(const Report&) = delete;

  /// Takes what is known of the input, its damage and the output, before they are destroyed.
  void take(Input& input, Output& output);

  /// Writes the report of a run that ends with this exit status. `error` is empty unless the run
  /// has failed. Throws `Failure`.
  void write(int status, const std::string& error);

 private:
  struct Content;

  const Options& options_;
  std::unique_ptr<OutputFile> file_;  ///< null without --report
  std::unique_ptr<Content> content_;
};

}  // namespace cmhost
