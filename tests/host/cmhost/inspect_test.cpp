// The output of --inspect.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/host/cmhost/fixtures/program.h"

namespace {

using Json = nlohmann::json;
using program::Folder;
using program::Result;

Result inspect(const std::string& module, std::vector<std::string> options = {}) {
  const Folder folder;
  options.insert(options.end(), {"--inspect", module});
  return program::run(folder.path(), options);
}

void expectParts(const std::string& text, const std::vector<std::string>& parts) {
  for (const std::string& part : parts)
    EXPECT_NE(text.find(part), std::string::npos) << part << " is not in: " << text;
}

TEST(Inspect, OwnModule) {
  const Result result = inspect(STATIC_WATERMARK);
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.err, "");
  // 90% of 1920 is 1728; 1728 / 800 * 186 is 401.76; 4:2:2 has 2 bytes per pixel, 3 with alpha.
  expectParts(result.out, {std::string("module:      ") + STATIC_WATERMARK + "\n",
                           "factory:     getComponentInstance\n", "type 'fltr' (0x666c7472)\n",
                           "configured:  1920x1080 IYUV: accepted\n",
                           "prints:      Size: 1728, 401, 1385856, 1\n",
                           "             Alpha Size: 1728, 401, 2078784, 1\n"});
}

TEST(Inspect, SizeAndLayout) {
  const Result small = inspect(STATIC_WATERMARK, {"--size", "720x576", "--layout", "Y22P"});
  EXPECT_EQ(small.exitCode, 0);
  expectParts(small.out, {"720x576 Y22P: accepted", "Size: 648, 150, 194400, 1"});
  const Result flat = inspect(STATIC_WATERMARK, {"--size", "1000x100"});
  EXPECT_EQ(flat.exitCode, 1);
  expectParts(flat.out, {"1000x100 IYUV: ", "*** ERROR ***: Error configuring watermark."});
  const Result layout = inspect(STATIC_WATERMARK, {"--layout", "AYUV"});
  EXPECT_EQ(layout.exitCode, 1);
  expectParts(layout.out, {"1920x1080 AYUV: ", "*** ERROR ***: Incorrect colorspace"});
}

TEST(Inspect, Json) {
  const Result result = inspect(STATIC_WATERMARK, {"--json"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(Json::parse(result.out), Json::parse(R"({
    "module": ")" + std::string(STATIC_WATERMARK) +
                                                 R"(",
    "factory": "getComponentInstance",
    "type": "fltr",
    "configuration": {
      "width": 1920, "height": 1080, "layout": "IYUV", "taken": true, "reason": null,
      "printed": ["Size: 1728, 401, 1385856, 1", "Alpha Size: 1728, 401, 2078784, 1"]
    }
  })"));
  const Result declined = inspect(program::stub("declines"), {"--json"});
  EXPECT_EQ(declined.exitCode, 1);
  const Json configuration = Json::parse(declined.out)["configuration"];
  EXPECT_EQ(configuration["taken"], false);
  EXPECT_EQ(configuration["reason"], program::stub("declines") +
                                         ": cannot configure the module: *** ERROR ***: not "
                                         "this one");
  EXPECT_EQ(configuration["printed"], Json::array());
}

TEST(Inspect, JsonIsAsciiWhateverTheNameIs) {
  for (const std::string name : {"\xff.so", "\u009b\u202e.so", "a\n\"\x7f\"\\.so"}) {
    const Result result = inspect("/nowhere/" + name, {"--json"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(Json::accept(result.out)) << result.out;
    for (const char character : result.out)
      EXPECT_TRUE(character == '\n' || (character >= ' ' && character <= '~')) << result.out;
  }
  EXPECT_EQ(Json::parse(inspect("/nowhere/\u00e9", {"--json"}).out)["module"], "/nowhere/\u00e9");
}

TEST(Inspect, OtherModules) {
  const Result result =
      inspect(program::stub("tells_keys"), {"--set", "greeting=ABCD", "--layout", "NV12"});
  EXPECT_EQ(result.exitCode, 0);
  expectParts(result.out, {"greeting 41424344, system_informat 4e563132"});
}

TEST(Inspect, WhatIsNoModule) {
  const Result missing = inspect("/nowhere/missing.so");
  EXPECT_EQ(missing.exitCode, 1);
  EXPECT_EQ(missing.out, "");
  expectParts(missing.err, {"cmhost: error: ", "/nowhere/missing.so", "No such file or directory"});
  const Result json = inspect("/nowhere/missing.so", {"--json"});
  EXPECT_EQ(json.exitCode, 1);
  EXPECT_EQ(Json::parse(json.out)["module"], "/nowhere/missing.so");
  EXPECT_NE(Json::parse(json.out)["error"].get<std::string>().find("No such file or directory"),
            std::string::npos);
  expectParts(inspect(program::stub("no_factory")).err, {"getComponentInstance"});
  expectParts(inspect(program::stub("no_filter")).err, {"'sour'"});
}

TEST(Inspect, GoesWithoutAVideo) {
  for (const std::vector<std::string>& wrong :
       std::vector<std::vector<std::string>>{{"--inspect", "m.so", "in.mkv", "out.mkv"},
                                             {"--inspect", "m.so", "--hash", "-"},
                                             {"--inspect", "m.so", "--size", "0x5"},
                                             {"--inspect", "m.so", "--size", "5"},
                                             {"--inspect", "m.so", "--layout", "YUV"},
                                             {"--json", "in.mkv", "out.mkv"},
                                             {"--size", "4x4", "in.mkv", "out.mkv"}}) {
    const Folder folder;
    const Result result = program::run(folder.path(), wrong);
    EXPECT_EQ(result.exitCode, 2) << wrong[0] << " " << wrong[1] << " " << wrong[2];
    EXPECT_EQ(result.out, "");
  }
}

}  // namespace
