// The command line.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <sstream>

#include "tests/host/cmhost/fixtures/program.h"

namespace {

program::Result run(const std::vector<std::string>& arguments) {
  const program::Folder folder;
  return program::run(folder.path(), arguments);
}

TEST(Usage, HelpNamesEveryOption) {
  const auto result = run({"--help"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.err, "");
  for (const char* const word : {"INPUT",
                                 "OUTPUT",
                                 "--module",
                                 "--module-timeout",
                                 "--encoder",
                                 "--encoder-option",
                                 "--crf",
                                 "--rate",
                                 "--muxer-option",
                                 "--bitrate",
                                 "--preset",
                                 "--lossless",
                                 "--threads",
                                 "--list-encoders",
                                 "--output-format",
                                 "--convert",
                                 "--overwrite",
                                 "--version",
                                 "--help",
                                 "Exit status",
                                 "--keep-partial",
                                 "--no-sync",
                                 "--input-format",
                                 "--input-option",
                                 "--allow-references",
                                 "--max-pixels",
                                 "--conceal",
                                 "--start",
                                 "--frames",
                                 "--compare",
                                 "--set",
                                 "--inspect",
                                 "--size",
                                 "--layout",
                                 "--json",
                                 "--preview",
                                 "--hash",
                                 "--progress",
                                 "--report",
                                 "--output-dir",
                                 "--jobs",
                                 "--skip-existing",
                                 "--quiet",
                                 "129",
                                 "130",
                                 "131",
                                 "143"})
    EXPECT_NE(result.out.find(word), std::string::npos) << word;
}

TEST(Usage, HelpFitsATerminal) {
  std::istringstream lines(run({"--help"}).out);
  for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 79U) << line;
}

TEST(Usage, Version) {
  const auto result = run({"--version"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out.rfind("cmhost 1.0.0", 0), 0U) << result.out;
}

TEST(Usage, WhatCannotBePrintedFails) {
  const std::vector<std::vector<std::string>> asked = {
      {"--help"},
      {"--version"},
      {"--inspect", STATIC_WATERMARK},
      {"--inspect", STATIC_WATERMARK, "--json"},
      {"--inspect", "/nowhere/missing.so", "--json"}};
  const program::Folder folder;
  for (const auto& arguments : asked) {
    SCOPED_TRACE(arguments[0]);
    program::Streams streams;
    streams.out = ::open("/dev/full", O_WRONLY | O_CLOEXEC);
    ASSERT_GE(streams.out, 0);
    const auto result = program::run(folder.path(), arguments, streams);
    ::close(streams.out);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.err,
              "cmhost: error: standard output: cannot write: No space left on device\n");
  }
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
      {"--input-option", "=5", "in.mkv", "out.mkv"},
      {"--set", "key=ABC", "in.mkv", "out.mkv"},
      {"--set", "key=0x123", "in.mkv", "out.mkv"},
      {"--set", "key=0xGGGGGGGG", "in.mkv", "out.mkv"},
      {"--set", "=ABCD", "in.mkv", "out.mkv"},
      {"--allow-references", "all", "in.mkv", "out.mkv"},
      {"--start", "soon", "in.mkv", "out.mkv"},
      {"--start", "-1", "in.mkv", "out.mkv"},
      {"--frames", "0", "in.mkv", "out.mkv"},
      {"--frames", "-5", "in.mkv", "out.mkv"},
      {"--frames", "99999999999999999999", "in.mkv", "out.mkv"},
      {"--frames", "5x", "in.mkv", "out.mkv"},
      {"--module-timeout", "-1", "in.mkv", "out.mkv"},
      {"--module-timeout", "1s", "in.mkv", "out.mkv"},
      {"--preview", "look.jpg", "in.mkv", "out.mkv"},
      {"--preview", ".png", "in.mkv", "out.mkv"},
      {"--preview", "look.png@x", "in.mkv", "out.mkv"},
      {"--progress", "sometimes", "in.mkv", "out.mkv"},
      {"--unheardof", "18", "in.mkv", "out.mkv"},
      {"--jobs", "2", "in.mkv", "out.mkv"},
      {"--skip-existing", "in.mkv", "out.mkv"},
      {"--output-dir", "out"},
      {"--output-dir", "out", "--jobs", "0", "in.mkv"},
      {"--output-dir", "out", "--hash", "list", "in.mkv"},
      {"--output-dir", "out", "--preview", "a.png", "in.mkv"},
      {"--output-dir", "out", "--overwrite", "--skip-existing", "in.mkv"},
      {"--report", "report.txt", "in.mkv", "out.mkv"},
      {"--report", "-", "in.mkv", "-"},
      {"--report", "-", "--hash", "-", "in.mkv", "out.mkv"},
      {"in.mkv", "out.mkv", "other.mkv"},
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

TEST(Usage, OperandsMayFollowTwoDashes) {
  const program::Folder folder;
  program::ffmpeg(folder.path(),
                  "-f lavfi -i testsrc2=size=64x64:rate=5 -t 0.4 -c:v ffv1 -y ./-x.mkv");
  EXPECT_EQ(program::run(folder.path(), {"--quiet", "--", "-x.mkv", "null:"}).exitCode, 0);
  EXPECT_EQ(run({"--", "in.mkv", "out.mkv", "-c"}).err,
            "cmhost: error: extra operand '-c'; see cmhost --help\n");
  EXPECT_EQ(run({"--unheardof", "--", "in.mkv", "out.mkv"}).err,
            "cmhost: error: unrecognized option '--unheardof'; see cmhost --help\n");
}

TEST(Usage, ValuesAreCounted) {
  EXPECT_EQ(run({"in.mkv", "out.mkv", "--frames"}).err,
            "cmhost: error: --frames requires a value; see cmhost --help\n");
  EXPECT_EQ(run({"--encoder", "ffv1", "--encoder", "ffv1", "in.mkv", "out.mkv"}).err,
            "cmhost: error: --encoder may be given only once; see cmhost --help\n");
  EXPECT_EQ(run({"--overwrite=3", "in.mkv", "out.mkv"}).exitCode, 2);
  EXPECT_EQ(run({"--quiet=false", "in.mkv", "out.mkv"}).exitCode, 2);
}

TEST(Usage, UnknownOptionIsBlamedAlone) {
  EXPECT_EQ(run({"--unheardof", "18", "in.mkv", "out.mkv"}).err,
            "cmhost: error: unrecognized option '--unheardof'; see cmhost --help\n");
  EXPECT_EQ(run({"in.mkv", "out.mkv", "other.mkv"}).err,
            "cmhost: error: extra operand 'other.mkv'; see cmhost --help\n");
}

}  // namespace
