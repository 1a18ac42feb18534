// The report for machines, and the progress as JSON.
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>
#include <thread>

#include "tests/host/cmhost/fixtures/program.h"

namespace {

using program::Result;
using Json = nlohmann::json;

class Report : public testing::Test {
 protected:
  void SetUp() override {
    program::ffmpeg(folder.path(),
                    "-f lavfi -i testsrc2=size=160x120:rate=25:duration=2 -f lavfi -i "
                    "sine=duration=2 -c:a pcm_s16le -pix_fmt yuv420p -c:v libx264 -g 10 in.mkv");
  }

  Result run(std::vector<std::string> options) {
    options.insert(options.begin(), {"--report", "report.json"});
    return program::run(folder.path(), options);
  }

  Json report() { return Json::parse(program::readFile(folder / "report.json")); }

  // Removes the end of the line and the name of the file, if any.
  std::string md5sum(const std::string& command) {
    return program::ffmpeg(folder.path(), command + " | md5sum | cut -c1-32").substr(0, 32);
  }

  program::Folder folder;
};

TEST_F(Report, WholeRun) {
  const Result result = run({"in.mkv", "out.nut"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  const Json all = report();
  EXPECT_EQ(all["status"], 0);
  EXPECT_EQ(all["result"], "done");
  EXPECT_FALSE(all.contains("error"));
  EXPECT_EQ(all["frames"], 50);
  EXPECT_NEAR(all["duration"].get<double>(), 2.0, 0.01);
  EXPECT_GT(all["seconds"].get<double>(), 0);
  EXPECT_EQ(all["input"]["name"], "in.mkv");
  EXPECT_EQ(all["input"]["bytes"], std::filesystem::file_size(folder / "in.mkv"));
  EXPECT_EQ(all["input"]["video"]["codec"], "h264");
  EXPECT_EQ(all["input"]["video"]["width"], 160);
  EXPECT_EQ(all["input"]["video"]["frame_rate"], "25/1");
  EXPECT_EQ(all["input"]["streams"].size(), 2U);
  EXPECT_EQ(all["output"]["name"], "out.nut");
  EXPECT_EQ(all["output"]["container"], "nut");
  EXPECT_EQ(all["output"]["encoder"], "rawvideo");
  EXPECT_EQ(all["output"]["bytes"], std::filesystem::file_size(folder / "out.nut"));
  EXPECT_EQ(all["damage"], Json::parse(R"({"count": 0, "places": []})"));
  EXPECT_EQ(all["streams_left_out"], Json::array());
  EXPECT_EQ(all["output"]["md5"], md5sum("-loglevel quiet -version >/dev/null; cat out.nut"));
  EXPECT_EQ(all["frames_md5"], md5sum("-i out.nut -map 0:v:0 -f rawvideo -"));
}

TEST_F(Report, ReplacesTheOneBefore) {
  ASSERT_EQ(run({"in.mkv", "out.nut"}).exitCode, 0);
  EXPECT_EQ(run({"in.mkv", "out.nut"}).exitCode, 1) << "the video is not replaced";
  const Json all = report();
  EXPECT_EQ(all["status"], 1);
  EXPECT_NE(all["error"].get<std::string>().find("file exists"), std::string::npos);
}

TEST_F(Report, FailedRun) {
  EXPECT_EQ(run({"missing.mkv", "out.nut"}).exitCode, 1);
  const Json all = report();
  EXPECT_EQ(all["status"], 1);
  EXPECT_EQ(all["result"], "failed");
  EXPECT_NE(all["error"].get<std::string>().find("missing.mkv"), std::string::npos);
  EXPECT_EQ(all["frames"], 0);
}

TEST_F(Report, DamageAndStreamsLeftOut) {
  const std::string whole = program::readFile(folder / "in.mkv");
  program::writeFile(folder / "cut.mkv", whole.substr(0, whole.size() * 2 / 3));
  EXPECT_EQ(run({"cut.mkv", "out.y4m"}).exitCode, 1);
  Json all = report();
  EXPECT_EQ(all["status"], 1);
  EXPECT_NE(all["error"].get<std::string>().find("damaged"), std::string::npos);
  EXPECT_GT(all["frames"], 0);

  EXPECT_EQ(run({"--conceal", "cut.mkv", "out.y4m"}).exitCode, 3);
  all = report();
  EXPECT_EQ(all["status"], 3);
  EXPECT_EQ(all["result"], "done with damage");
  EXPECT_EQ(all["damage"]["count"], all["damage"]["places"].size());
  const Json place = all["damage"]["places"][0];
  EXPECT_NEAR(place["time"].get<double>(), place["frame"].get<double>() / 25, 0.2) << place;
  EXPECT_NE(place["what"].get<std::string>(), "");
  ASSERT_EQ(all["streams_left_out"].size(), 1U);
  EXPECT_EQ(all["streams_left_out"][0]["index"], 1);
  EXPECT_EQ(all["streams_left_out"][0]["type"], "audio");
  EXPECT_GE(all["warnings"].size(), 2U);
}

TEST_F(Report, OnStandardOutput) {
  const Result result =
      program::run(folder.path(), {"--report", "-", "--frames", "5", "in.mkv", "null:"});
  EXPECT_EQ(result.exitCode, 0);
  const Json all = Json::parse(result.out);
  EXPECT_EQ(all["frames"], 5);
  EXPECT_EQ(all["output"]["name"], "null:");
}

TEST_F(Report, NamesThatAreNotText) {
  std::filesystem::copy_file(folder / "in.mkv", folder / "\xFF\"\n.mkv");
  EXPECT_EQ(run({"--progress=json", "\xFF\"\n.mkv", "null:"}).exitCode, 0);
  EXPECT_EQ(report()["input"]["name"], "\xEF\xBF\xBD\"\n.mkv");
}

TEST_F(Report, NeverReplacesTheInput) {
  std::filesystem::copy_file(folder / "in.mkv", folder / "in.json");
  const std::string before = program::readFile(folder / "in.json");
  program::expectError(program::run(folder.path(), {"--report", "in.json", "in.json", "out.nut"}),
                       2, "same file");
  EXPECT_TRUE(program::readFile(folder / "in.json") == before);
  EXPECT_EQ(program::run(folder.path(),
                         {"--report", "x.json", "--output-format", "nut", "in.mkv", "x.json"})
                .exitCode,
            2);
}

std::vector<Json> objectsOf(const std::string& text) {
  std::vector<Json> objects;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);)
    if (line[0] == '{') objects.push_back(Json::parse(line));
  return objects;
}

TEST_F(Report, ProgressAsJson) {
  const Result result =
      program::run(folder.path(), {"--progress=json", "--quiet", "in.mkv", "null:"});
  EXPECT_EQ(result.exitCode, 0);
  const auto objects = objectsOf(result.err);
  ASSERT_FALSE(objects.empty()) << result.err;
  const Json& end = objects.back();
  EXPECT_EQ(end["event"], "end");
  EXPECT_EQ(end["input"], "in.mkv");
  EXPECT_EQ(end["status"], 0);
  EXPECT_EQ(end["frame"], 50);
  EXPECT_EQ(end["frames_expected"], 50);
  EXPECT_EQ(end["damage"], 0);
  EXPECT_NEAR(end["time"].get<double>(), 2, 0.01);
  EXPECT_GT(end["fps"], 0);
  EXPECT_NEAR(end["speed"].get<double>(), end["time"].get<double>() / end["elapsed"].get<double>(),
              0.01);
}

// The reader of a pipe that writes nothing keeps the run going for more than a second.
TEST_F(Report, ProgressComesEverySecond) {
  program::Pipe pipe;
  program::ffmpeg(folder.path(), "-i in.mkv -an in.y4m");
  const std::string bytes = program::readFile(folder / "in.y4m");
  program::Streams streams;
  streams.in = pipe.readEnd();
  program::Process process(folder.path(), {"--progress=json", "-", "null:"}, streams);
  ASSERT_TRUE(pipe.write(bytes));
  for (int i = 0; i < 300 && objectsOf(process.errSoFar()).size() < 2; ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  pipe.closeWriteEnd();
  const Result result = process.wait();
  const auto objects = objectsOf(result.err);
  ASSERT_GE(objects.size(), 3U) << result.err;
  EXPECT_EQ(objects[0]["event"], "progress");
  EXPECT_EQ(objects.back()["event"], "end");
  EXPECT_GE(objects[1]["elapsed"].get<double>() - objects[0]["elapsed"].get<double>(), 0.7);
}

TEST_F(Report, ProgressTellsOfFailure) {
  const Result result = program::run(folder.path(), {"--progress=json", "missing.mkv", "null:"});
  const auto objects = objectsOf(result.err);
  ASSERT_EQ(objects.size(), 1U) << result.err;
  EXPECT_EQ(objects[0]["status"], 1);
  EXPECT_NE(objects[0]["error"].get<std::string>().find("missing.mkv"), std::string::npos);
}

}  // namespace
