// Several inputs: names, processes of their own, results, and signals.
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <thread>

#include "tests/host/cmhost/fixtures/program.h"

namespace {

namespace fs = std::filesystem;
using program::Result;
using Json = nlohmann::json;

class Batch : public testing::Test {
 protected:
  void make(const std::string& name, int frames = 5) {
    program::ffmpeg(folder.path(), "-f lavfi -i testsrc2=size=64x48:rate=25 -frames:v " +
                                       std::to_string(frames) + " -pix_fmt yuv420p -c:v mpeg4 " +
                                       name);
  }

  Result run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"--output-dir", "out", "--no-sync"});
    return program::run(folder.path(), arguments);
  }

  std::vector<std::string> outputs() {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder / "out"))
      names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
  }

  static bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
  }

  program::Folder folder;
};

TEST_F(Batch, EveryInputGetsItsOutput) {
  fs::create_directory(folder / "in");
  make("in/a.mp4");
  make("b.avi");
  make("c.mkv");
  const Result result = run({"--jobs", "2", "in/a.mp4", "b.avi", "--", "c.mkv"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(outputs(), (std::vector<std::string>{"a.mp4", "b.avi", "c.mkv"}));
  EXPECT_TRUE(contains(result.err, "cmhost: in/a.mp4: 5 frames in ")) << result.err;
  EXPECT_TRUE(contains(result.err, "b.avi: Size: ")) << result.err;
  EXPECT_TRUE(contains(result.err, ": 3 done\n")) << result.err;

  // The same bytes as in a run of its own.
  ASSERT_EQ(program::run(folder.path(), {"b.avi", "alone.avi"}).exitCode, 0);
  EXPECT_TRUE(program::readFile(folder / "alone.avi") == program::readFile(folder / "out/b.avi"));
}

TEST_F(Batch, OptionsApplyToEachInput) {
  make("a.mp4");
  make("b.avi");
  const Result result =
      run({"--quiet", "--output-format", "matroska", "--encoder", "ffv1", "--encoder-option",
           "level=1", "--encoder-option=g=1", "--frames=3", "a.mp4", "b.avi"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(outputs(), (std::vector<std::string>{"a.mkv", "b.mkv"}));
  EXPECT_EQ(program::probe(folder.path(), "out/b.mkv", "stream=codec_name -count_frames"),
            "codec_name=ffv1\n");
  EXPECT_EQ(program::probe(folder.path(), "out/a.mkv", "stream=nb_read_frames -count_frames"),
            "nb_read_frames=3\n");
}

TEST_F(Batch, CollisionsAreRefusedBeforeTheStart) {
  fs::create_directory(folder / "in");
  make("in/a.mp4");
  make("a.mp4");
  make("a.avi");
  program::expectError(run({"a.avi", "in/a.mp4", "a.mp4"}), 2, "have the same output");
  program::expectError(run({"--output-format", "nut", "a.avi", "a.mp4"}), 2,
                       "have the same output");
  program::expectError(run({"a.avi", "-"}), 2, "not the name of a file");
  EXPECT_FALSE(fs::exists(folder / "out"));
  program::expectError(program::run(folder.path(), {"--output-dir", ".", "--overwrite", "a.avi"}),
                       2, "would replace the input");
  program::expectError(
      program::run(folder.path(), {"--output-dir", ".", "--overwrite", "a.avi", "in/a.mp4"}), 2,
      "would replace the input");
}

TEST_F(Batch, TheWorstResultCountsAndTheOthersAreDone) {
  make("a.mkv", 60);
  make("b.mkv");
  const std::string whole = program::readFile(folder / "a.mkv");
  program::writeFile(folder / "cut.mkv", whole.substr(0, whole.size() / 2));
  program::writeFile(folder / "text.mkv", "no video\n");
  Result result = run({"--conceal", "cut.mkv", "b.mkv"});
  EXPECT_EQ(result.exitCode, 3) << result.err;
  EXPECT_TRUE(contains(result.err, ": 1 done, 1 done with damage\n")) << result.err;

  result =
      run({"--overwrite", "--conceal", "--report", "all.json", "text.mkv", "cut.mkv", "b.mkv"});
  EXPECT_EQ(result.exitCode, 1) << result.err;
  EXPECT_TRUE(contains(result.err, "cmhost: text.mkv: error: text.mkv: ")) << result.err;
  EXPECT_EQ(outputs(), (std::vector<std::string>{"b.mkv", "cut.mkv"}));

  const Json report = Json::parse(program::readFile(folder / "all.json"));
  EXPECT_EQ(report["status"], 1);
  ASSERT_EQ(report["files"].size(), 3U);
  EXPECT_EQ(report["files"][0]["result"], "failed");
  EXPECT_TRUE(contains(report["files"][0]["error"], "text.mkv"));
  EXPECT_EQ(report["files"][1]["result"], "done with damage");
  EXPECT_EQ(report["files"][2]["input"]["name"], "b.mkv");
  EXPECT_EQ(report["files"][2]["frames"], 5);
}

TEST_F(Batch, SkipExisting) {
  make("a.mkv");
  make("b.mkv");
  ASSERT_EQ(run({"a.mkv"}).exitCode, 0);
  EXPECT_EQ(run({"a.mkv", "b.mkv"}).exitCode, 1) << "a.mkv exists";
  fs::remove(folder / "out/b.mkv");
  const auto written = fs::last_write_time(folder / "out/a.mkv");
  const Result result = run({"--skip-existing", "--report", "-", "a.mkv", "b.mkv"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(fs::last_write_time(folder / "out/a.mkv"), written);
  EXPECT_TRUE(contains(result.err, ": 1 done, 1 skipped\n")) << result.err;
  const Json report = Json::parse(result.out);
  EXPECT_EQ(report["files"][0]["result"], "skipped");
  EXPECT_EQ(report["files"][1]["result"], "done");
}

// The module crashes in each process; the batch reports all of them.
TEST_F(Batch, CrashOfOneProcessIsReported) {
  make("a.mkv");
  make("b.mkv");
  fs::copy_file(HOSTILE_MODULE, folder / "segfaults_in_process.so");
  const Result result =
      run({"--module", "./segfaults_in_process.so", "--report", "-", "a.mkv", "b.mkv"});
  EXPECT_EQ(result.exitCode, 1) << result.err;
  EXPECT_TRUE(contains(result.err, ": 2 failed\n")) << result.err;
  EXPECT_TRUE(contains(result.err, "b.mkv: ")) << result.err;
  const Json report = Json::parse(result.out);
  EXPECT_EQ(report["files"][1]["result"], "failed");
  if (program::isSanitized) return;
  EXPECT_TRUE(contains(report["files"][1]["error"], "ended by signal 11")) << report;
}

TEST_F(Batch, SignalEndsAllOfIt) {
  make("a.mkv", 40);
  make("b.mkv");
  fs::copy_file(HOSTILE_MODULE, folder / "takes_half_a_second.so");
  program::Process process(
      folder.path(), {"--output-dir", "out", "--no-sync", "--output-format", "nut", "--module",
                      "./takes_half_a_second.so", "--progress=json", "a.mkv", "b.mkv"});
  for (int i = 0; i < 300 && !contains(process.errSoFar(), "\"progress\""); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  process.signal(SIGTERM);
  const Result result = process.wait();
  EXPECT_EQ(result.exitCode, 128 + SIGTERM) << result.err;
  EXPECT_TRUE(contains(result.err, ": 1 interrupted, 1 not started\n")) << result.err;
  EXPECT_EQ(outputs(), std::vector<std::string>{"a.nut"});
}

}  // namespace
