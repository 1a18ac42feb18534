// The command line itself.
#include <gtest/gtest.h>

#include "tests/host/program.h"

namespace {

program::Result run(const std::vector<std::string>& arguments) {
  const program::Folder folder;
  return program::run(folder.path(), arguments);
}

TEST(Usage, HelpNamesEveryOption) {
  const auto result = run({"--help"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.err, "");
  for (const char* const word :
       {"INPUT", "OUTPUT", "--module", "--encoder", "--encoder-option", "--output-format",
        "--convert", "--overwrite", "--version", "--help", "Exit status"})
    EXPECT_NE(result.out.find(word), std::string::npos) << word;
}

TEST(Usage, Version) {
  const auto result = run({"--version"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out.rfind("cmhost 1.0.0", 0), 0U) << result.out;
}

TEST(Usage, WrongOnes) {
  const std::vector<std::vector<std::string>> wrong = {
      {},
      {"in.mkv"},
      {"in.mkv", "out.mkv", "more"},
      {"--unheardof", "in.mkv", "out.mkv"},
      {"--convert", "AYUV", "in.mkv", "out.mkv"},
      {"--convert", "", "in.mkv", "out.mkv"},
      {"--encoder-option", "crf", "in.mkv", "out.mkv"},
      {"--encoder-option", "=5", "in.mkv", "out.mkv"},
      {"in.mkv", "out.mkv", "--module"},
  };
  for (const auto& arguments : wrong) {
    const auto result = run(arguments);
    std::string shown = "cmhost";
    for (const std::string& argument : arguments) shown += " '" + argument + "'";
    SCOPED_TRACE(shown);
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err.rfind("cmhost: error: ", 0), 0U) << result.err;
    EXPECT_EQ(result.err.find('\n'), result.err.size() - 1) << result.err;
    EXPECT_NE(result.err.find("--help"), std::string::npos) << result.err;
  }
}

}  // namespace
