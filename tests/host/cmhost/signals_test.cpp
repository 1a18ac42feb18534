// Signals at random moments of a run: the result is a complete file or nothing.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <map>
#include <optional>
#include <random>
#include <thread>
#include <tuple>
#include <utility>

#include "tests/host/cmhost/fixtures/clip.h"
#include "tests/host/cmhost/fixtures/program.h"

namespace {

using program::Folder;
using program::Process;
using program::Result;
using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr int frames = 24;
constexpr std::size_t frameBytes = 6 + 160 * 120 * 3 / 2;  // "FRAME\n" and the planes
constexpr const char* inputName = "in.y4m";
constexpr const char* hashName = "hashes";
constexpr const char* previewName = "look.png";
constexpr const char* containers[] = {"mkv", "nut", "mp4"};
constexpr std::pair<int, const char*> signals[] = {
    {SIGINT, "INT"}, {SIGTERM, "TERM"}, {SIGHUP, "HUP"}, {SIGQUIT, "QUIT"}};

constexpr int usualRuns = program::isSanitized ? 40 : 200;

// The output files of a run.
struct Outputs {
  std::string video, hashes, preview;
};

// One run and the signals sent to it.
struct Case {
  std::string output;
  int number = 0;
  const char* name = "";
  bool whileWriting = false;  // the moment counts from the creation of the temporary file
  double moment = 0;          // in seconds, from the start
  bool byTimeout = false;     // timeout(1) sends it, to the process and to its group
  double second = -1;         // seconds after the first signal; negative: none
  int given = -1;  // frames sent through a pipe before the signal; negative: input is a file

  std::string text() const {
    return output + ", " + name + " at " + std::to_string(moment) +
           (whileWriting ? " of writing" : "") + (byTimeout ? " by timeout" : "") +
           (second >= 0 ? ", again after " + std::to_string(second) : "") +
           (given >= 0 ? ", after " + std::to_string(given) + " frames by a pipe" : "");
  }
};

class Signals : public testing::Test {
 protected:
  void SetUp() override {
    clip::Clip clip;
    clip.encoder = "wrapped_avframe";
    clip.pictures = clip::drawMany(AV_PIX_FMT_YUV420P, 160, 120, frames);
    clip::write(made / inputName, clip);
    for (const char* const container : containers) measure(std::string("out.") + container);
  }

  void measure(const std::string& output) {
    const Folder folder;
    const auto begin = Clock::now();
    Process process(folder.path(), arguments(output));
    waitUntilWriting(folder);
    const auto opened = Clock::now();
    EXPECT_EQ(process.wait().exitCode, 0);
    longestRun = std::max(longestRun, Seconds(Clock::now() - begin).count());
    longestWriting = std::max(longestWriting, Seconds(Clock::now() - opened).count());
  }

  static void waitUntilWriting(const Folder& folder) {
    const auto end = Clock::now() + std::chrono::seconds(20);
    while (folder.names().empty() && Clock::now() < end)
      std::this_thread::sleep_for(std::chrono::microseconds(200));
  }

  static void waitUntilAFrameIsMarked(const Folder& folder) {
    const auto isMarked = [&] {
      for (const std::string& name : folder.names())
        if (name.rfind(previewName, 0) == 0 && !program::readFile(folder / name).empty())
          return true;
      return false;
    };
    const auto end = Clock::now() + std::chrono::seconds(20);
    while (!isMarked() && Clock::now() < end)
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }

  std::vector<std::string> arguments(const std::string& output, const std::string& input) const {
    std::vector<std::string> words = {"--hash", hashName, "--preview", previewName};
    // The default encoder of these does not write the same bytes every time.
    if (output == "out.mp4") words.insert(words.end(), {"--encoder", "mpeg4"});
    if (output == "out.mkv") words.push_back("--lossless");
    words.insert(words.end(), {input, output});
    return words;
  }

  std::vector<std::string> arguments(const std::string& output) const {
    return arguments(output, made / inputName);
  }

  // The outputs of an undisturbed run with this number of frames.
  const Outputs& outputsOf(const std::string& output, int count) {
    const auto known = references.find({output, count});
    if (known != references.end()) return known->second;
    const Folder folder;
    auto words = arguments(output);
    words.insert(words.end(), {"--frames", std::to_string(count)});
    const Result result = program::run(folder.path(), words);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(clip::read(folder / output).pictures.size(), static_cast<std::size_t>(count));
    return references[{output, count}] = {program::readFile(folder / output),
                                          program::readFile(folder / hashName),
                                          program::readFile(folder / previewName)};
  }

  Case randomCase() {
    const auto below = [this](std::size_t end) {
      return std::uniform_int_distribution<std::size_t>(0, end - 1)(random);
    };
    const auto between = [this](double from, double to) {
      return std::uniform_real_distribution<double>(from, to)(random);
    };
    Case chosen;
    chosen.output = std::string("out.") + containers[below(std::size(containers))];
    std::tie(chosen.number, chosen.name) = signals[below(std::size(signals))];
    chosen.byTimeout = below(3) == 0;
    chosen.whileWriting = !chosen.byTimeout && below(4) > 0;
    chosen.moment = between(0, chosen.whileWriting ? longestWriting : longestRun);
    if (!chosen.byTimeout && below(3) == 0) chosen.second = between(0, 0.02);
    return chosen;
  }

  // Always at least one run that leaves nothing, one that leaves a part and one that leaves all
  // frames, even on a busy machine.
  static std::vector<Case> caseOfEachKind() {
    std::vector<Case> cases(3);
    for (Case& each : cases) {
      each.output = std::string("out.") + containers[0];
      std::tie(each.number, each.name) = signals[0];
    }
    cases[0].given = 0;
    cases[1].given = frames / 2;
    cases[2].byTimeout = true;
    cases[2].moment = 600;  // after its end
    return cases;
  }

  Result runFromPipe(const Case& chosen, const Folder& folder) const {
    const std::string all = program::readFile(made / inputName);
    const std::size_t header = all.size() - frames * frameBytes;
    const auto given = static_cast<std::size_t>(chosen.given);
    program::Pipe in;
    program::Streams streams;
    streams.in = in.readEnd();
    Process process(folder.path(), arguments(chosen.output, "-"), streams);
    EXPECT_TRUE(in.write(all.substr(0, header + given * frameBytes)));
    in.waitUntilEmpty();
    if (chosen.given > 0) waitUntilAFrameIsMarked(folder);
    process.signal(chosen.number);
    return process.wait();
  }

  Result runCase(const Case& chosen, const Folder& folder) const {
    if (chosen.given >= 0) return runFromPipe(chosen, folder);
    const auto words = arguments(chosen.output);
    program::Streams streams;
    // After its signal, timeout sends SIGCONT, which cancels the SIGSTOP that LeakSanitizer uses to
    // attach to an ending process: both would wait for ever.
    std::optional<program::Variable> sanitizer;
    if (chosen.byTimeout) {
      sanitizer.emplace("ASAN_OPTIONS", "detect_leaks=0");
      streams.wrapper = {"timeout", "--preserve-status", "-s", chosen.name,
                         std::to_string(chosen.moment)};
    }
    Process process(folder.path(), words, streams);
    if (chosen.whileWriting) waitUntilWriting(folder);
    if (!chosen.byTimeout) {
      std::this_thread::sleep_for(Seconds(chosen.moment));
      process.signal(chosen.number);
    }
    if (chosen.second >= 0) {
      std::this_thread::sleep_for(Seconds(chosen.second));
      process.signal(chosen.number);
    }
    return process.wait();
  }

  // The number of frames in the output according to the program's messages; 0 without a message.
  static int framesTold(const std::string& err) {
    const std::string holds = "was closed properly and contains ";
    const std::size_t part = err.find(holds);
    if (part != std::string::npos) return std::atoi(err.c_str() + part + holds.size());
    const std::size_t all = err.rfind(" frames in ");
    return all != std::string::npos ? std::atoi(err.c_str() + err.rfind(' ', all - 1)) : 0;
  }

  void expectWholeOrNothing(const Case& chosen) {
    const Folder folder;
    const Result result = runCase(chosen, folder);
    const std::vector<std::string> names = folder.names();
    const int told = framesTold(result.err);
    if (told == 0) {
      ++none;
      // The signal came before its handler was installed, which timeout reports as an exit code, or
      // before the first frame.
      const char* const early = "interrupted before the first frame was marked";
      const int byItself = chosen.byTimeout ? 128 + chosen.number : -chosen.number;
      const bool isEarly = result.err.find(early) != std::string::npos;
      EXPECT_EQ(result.exitCode, isEarly ? 128 + chosen.number : byItself) << result.err;
      EXPECT_EQ(result.err.find("in flight"), std::string::npos) << result.err;
      EXPECT_TRUE(names.empty()) << testing::PrintToString(names);
      return;
    }
    ++(told < frames ? parts : whole);
    EXPECT_TRUE(result.exitCode == 128 + chosen.number || (told == frames && result.exitCode == 0))
        << result.exitCode << ": " << result.err;
    EXPECT_EQ(names, (std::vector<std::string>{hashName, previewName, chosen.output}));
    const Outputs& expected = outputsOf(chosen.output, told);
    EXPECT_TRUE(program::readFile(folder / chosen.output) == expected.video) << result.err;
    EXPECT_TRUE(program::readFile(folder / hashName) == expected.hashes) << result.err;
    EXPECT_TRUE(program::readFile(folder / previewName) == expected.preview) << result.err;
  }

  std::mt19937 random;
  int whole = 0;  // runs that left all frames
  int parts = 0;  // runs that left the frames until the signal
  int none = 0;   // runs that left nothing
  Folder made;
  double longestRun = 0;      // in seconds
  double longestWriting = 0;  // the time with a temporary file
  std::map<std::pair<std::string, int>, Outputs> references;
};

TEST_F(Signals, LeaveAWholeFileOrNothing) {
  const int seed =
      program::numberFrom("SIGNALS_SEED", static_cast<int>(std::random_device()() >> 1));
  const int runs = program::numberFrom("SIGNALS_RUNS", usualRuns);
  std::printf("SIGNALS_SEED=%d SIGNALS_RUNS=%d\n", seed, runs);
  random.seed(static_cast<unsigned int>(seed));
  for (const Case& chosen : caseOfEachKind()) {
    SCOPED_TRACE(chosen.text());
    expectWholeOrNothing(chosen);
  }
  EXPECT_EQ(std::make_tuple(none, parts, whole), std::make_tuple(1, 1, 1));
  for (int i = 0; i < runs && !HasFailure(); ++i) {
    const Case chosen = randomCase();
    SCOPED_TRACE("seed " + std::to_string(seed) + ", run " + std::to_string(i) + ": " +
                 chosen.text());
    expectWholeOrNothing(chosen);
  }
  std::printf("%d runs left all frames, %d those until the signal, %d nothing\n", whole, parts,
              none);
  // This many random moments give every kind of result.
  EXPECT_TRUE(runs < 200 || (whole > 1 && parts > 1 && none > 1));
}

}  // namespace
