#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

/// Runs the real `cmhost` as a process of its own.
namespace program {

/// A sanitizer takes memory and time of its own, and ends a program that gets no memory from `new`.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool isSanitized = true;
#else
constexpr bool isSanitized = false;
#endif

struct Result {
  int exitCode = -1;       ///< minus the signal's number when one ended it
  std::string out;         ///< what it wrote on standard output, if that was not sent elsewhere
  std::string err;         ///< what it wrote on standard error
  long peakKilobytes = 0;  ///< of memory held at once
  double processorSeconds = 0;  ///< of all its threads

  /// The lines on standard error that are the program's own and not the module's.
  std::string messages() const;
};

/// Where the standard streams come from and go to; descriptors that the caller keeps. -1: standard
/// input is empty, the others are caught.
struct Streams {
  int out = -1;
  int err = -1;
  int in = -1;
  std::function<void()> prepare;     ///< called in the new process before the program starts
  std::vector<std::string> wrapper;  ///< a program, and arguments, to run `cmhost` by
};

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

/// A number from the environment, `usual` when it is not there.
int numberFrom(const char* variable, int usual);

/// Sets a variable of the environment for the programs that are started while this lives.
class Variable {
 public:
  Variable(const char* name, const std::string& value);
  ~Variable();
  Variable(const Variable&) = delete;
  Variable& operator=(const Variable&) = delete;

 private:
  const char* name_;
  std::optional<std::string> before_;
};

/// A run of `cmhost` under way.
class Process {
 public:
  /// Runs `cmhost` with `arguments` in a folder.
  Process(const std::string& folder, const std::vector<std::string>& arguments,
          const Streams& streams = {});

  /// Kills it if it still runs.
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  void signal(int number) const;

  /// What it has written on standard error so far, if that is caught.
  std::string errSoFar() const;

  /// Waits for its end; one that takes longer is killed and fails the test.
  Result wait(std::chrono::seconds longest = std::chrono::seconds(60));

 private:
  Streams streams_;
  Folder caught_;
  pid_t child_ = -1;
};

/// Runs `cmhost` to its end.
Result run(const std::string& folder, const std::vector<std::string>& arguments,
           const Streams& streams = {});

/// Runs `ffmpeg` with these words of a shell command in a folder, existing files replaced. Returns
/// what it writes on standard output. Throws `std::runtime_error` when it fails.
std::string ffmpeg(const std::string& folder, const std::string& words);

/// What `ffprobe` finds in a file, an entry on each line: `entries` as its -show_entries has them.
std::string probe(const std::string& folder, const std::string& file, const std::string& entries);

/// A pipe whose ends are closed with it.
class Pipe {
 public:
  Pipe();
  ~Pipe();
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  int readEnd() const { return ends_[0]; }
  int writeEnd() const { return ends_[1]; }
  void closeReadEnd();
  void closeWriteEnd();

  /// Writes everything; false when nobody reads any more.
  bool write(const std::string& bytes) const;

  /// Waits until somebody has read all that was written.
  void waitUntilEmpty() const;

  /// Reads until whoever writes closes.
  std::string readAll() const;

 private:
  int ends_[2];
};

/// The path of a module built for these tests, see `stub_module.cpp`.
std::string stub(const std::string& behaviour);

/// The content of a file, and a file of the content.
std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& content);

}  // namespace program
