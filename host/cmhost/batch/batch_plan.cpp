#include "host/cmhost/batch/batch_plan.h"

#include <filesystem>
#include <map>

#include "host/cmhost/support/av.h"
#include "host/cmhost/support/failure.h"

namespace cmhost {

namespace {

namespace fs = std::filesystem;

// Empty: that of the input.
std::string extensionOf(const std::string& container) {
  if (container.empty()) return "";
  const AVOutputFormat* const format = av_guess_format(container.c_str(), nullptr, nullptr);
  if (format == nullptr)
    throw Failure("--output-format: unknown container '" + container + "'", exitUsage);
  const std::string all = format->extensions != nullptr ? format->extensions : "";
  return all.empty() ? "" : "." + all.substr(0, all.find(','));
}

void refuseInputs(const BatchItem& item, const std::vector<std::string>& inputs) {
  for (const std::string& input : inputs) {
    std::error_code ignored;
    if (fs::equivalent(item.output, input, ignored))
      throw Failure(
          item.output + " would replace the input " + input + "; choose another --output-dir",
          exitUsage);
  }
}

}  // namespace

std::vector<BatchItem> planBatch(const Options& options) {
  const std::string extension = extensionOf(options.outputFormat);
  std::vector<BatchItem> items;
  std::map<fs::path, std::string> taken;
  for (const std::string& input : options.batch->inputs) {
    fs::path name = fs::path(input).filename();
    if (name.empty() || input == "-")
      throw Failure("--output-dir: '" + input + "' is not the name of a file", exitUsage);
    if (!extension.empty()) name.replace_extension(extension);
    const auto [other, isNew] = taken.emplace(name, input);
    if (!isNew)
      throw Failure(other->second + " and " + input + " have the same output, " +
                        (options.batch->folder / name).string(),
                    exitUsage);
    items.push_back({input, (options.batch->folder / name).string()});
    refuseInputs(items.back(), options.batch->inputs);
  }
  return items;
}

}  // namespace cmhost
