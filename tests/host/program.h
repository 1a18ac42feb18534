#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

/// Runs the real `cmhost` as a process of its own.
namespace program {

struct Result {
  int exitCode = -1;  ///< minus the signal's number when one ended it
  std::string out;    ///< what it wrote on standard output, if that was not sent elsewhere
  std::string err;    ///< what it wrote on standard error
};

/// Where standard output and standard error go instead of being caught; descriptors that the caller
/// keeps, -1 to catch.
struct Streams {
  int out = -1;
  int err = -1;
};

/// Runs `cmhost` with `arguments` in a folder and waits for it; a run that takes longer than a
/// minute is killed and fails the test.
Result run(const std::string& folder, const std::vector<std::string>& arguments,
           const Streams& streams = {});

/// A new empty folder that goes with this object.
class Folder {
 public:
  Folder();
  ~Folder();
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  const std::string& path() const { return path_; }
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

  /// Names of what lies in it, sorted.
  std::vector<std::string> names() const;

 private:
  std::string path_;
};

/// The path of a module built for these tests, see `stub_module.cpp`.
std::string stub(const std::string& behaviour);

/// The content of a file, and a file of the content.
std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& content);

}  // namespace program
