// Damaged and hostile files of many containers. Whatever a file contains, a run
//  - ends by itself within 20 s of processor time, with exit status 0 or 1, without a sanitizer's
//    report and without much memory;
//  - opens no other file, makes no connection, starts no program;
//  - leaves no temporary file; and when it fails, one error line and no output;
//  - that exits with 0 has output the frames of the file.
// To repeat a failing case, run its test with HOSTILE_SEED=N HOSTILE_CASES=1. A larger
// HOSTILE_CASES searches longer.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <map>
#include <sstream>

#include "tests/host/cmhost/fixtures/watched_run.h"
#include "tests/host/cmhost/input/integrity/hostile/hostile_files.h"
#include "tests/host/cmhost/input/integrity/hostile/mutation.h"
#include "tests/host/cmhost/input/integrity/hostile/seed_clips.h"

namespace {

constexpr int usualCases = program::isSanitized ? 5 : 20;
constexpr long mostMebibytes = 1500;

class Corpus : public testing::Test {
 protected:
  // Runs with a file of this content and checks what must be true for every file.
  program::Result run(const std::string& name, const std::string& content) {
    program::writeFile(folder / name, content);
    const watched::Run run = watched::run(
        folder.path(), {"--quiet", "--convert", "IYUV", "--hash", "hash", name, "out.mkv"});
    const program::Result& result = run.result;
    EXPECT_TRUE(result.exitCode == 0 || result.exitCode == 1) << result.exitCode << result.err;
    EXPECT_EQ(result.err.find("Sanitizer"), std::string::npos) << result.err;
    EXPECT_EQ(result.err.find("runtime error"), std::string::npos) << result.err;
    EXPECT_TRUE(program::isSanitized || result.peakKilobytes / 1024 < mostMebibytes)
        << result.peakKilobytes / 1024 << " MiB";
    EXPECT_EQ(run.forbidden, std::vector<std::string>());
    EXPECT_EQ(watched::unexpected(run.opened, {name, "out.mkv", "hash"}),
              std::vector<std::string>());
    if (result.exitCode == 0) {
      frames = digestsIn(program::readFile(folder / "hash"));
      std::filesystem::remove(folder / "hash");
      std::filesystem::remove(folder / "out.mkv");
    } else {
      EXPECT_EQ(errorLines(result.err), 1) << result.err;
    }
    EXPECT_EQ(folder.names(), std::vector<std::string>{name});
    return result;
  }

  static long errorLines(const std::string& text) {
    long count = 0;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
      count += line.rfind("cmhost: error: ", 0) == 0 ? 1 : 0;
    return count;
  }

  // One for each frame.
  static std::vector<std::string> digestsIn(const std::string& hashes) {
    std::vector<std::string> digests;
    std::istringstream lines(hashes);
    for (std::string line; std::getline(lines, line);)
      if (line[0] != '#') digests.push_back(line.substr(line.rfind(' ') + 1));
    return digests;
  }

  program::Folder folder;
  std::vector<std::string> frames;  // of the last run that succeeded
};

struct HostileFile {
  const char* test;
  const char* name;
  std::string content;
};

void PrintTo(const HostileFile& file, std::ostream* to) { *to << file.name; }

std::vector<HostileFile> hostileFiles() {
  using namespace hostile;
  const std::string secret = "/etc/hostname";
  std::vector<HostileFile> files = {
      {"empty", "in.mp4", ""},
      {"one_byte", "in.mkv", "\x1A"},
      {"zeros", "in.ts", std::string(1 << 20, '\0')},
      {"ones", "in.mpg", std::string(1 << 16, '\xFF')},
      {"sync_bytes", "in.ts", std::string(1 << 16, 'G')},
      {"hls", "in.mp4", hls({secret, "http://127.0.0.1:9/a.ts"})},
      {"hls_key", "in.mp4",
       "#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXT-X-KEY:METHOD=AES-128,URI=\"" + secret +
           "\"\n#EXTINF:1,\nin.mp4\n#EXT-X-ENDLIST\n"},
      {"hls_map", "in.mp4",
       "#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXT-X-MAP:URI=\"" + secret +
           "\"\n#EXTINF:1,\nin.mp4\n#EXT-X-ENDLIST\n"},
      {"hls_variants", "in.mp4",
       "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1\n" + secret + "\n#EXT-X-ENDLIST\n"},
      {"hls_crypto", "in.mkv", hls({"crypto+file://" + secret})},
      {"hls_data", "in.mkv", hls({"data:video/mp4;base64,AAAA"})},
      {"hls_concat", "in.avi", hls({"concat:http://127.0.0.1:9/a|" + secret})},
      {"hls_subfile", "in.avi", hls({"subfile,,start,0,end,9,,:" + secret})},
      {"hls_itself", "in.ts", hls({"in.ts"})},
      {"concat", "in.mp4", concat({secret})},
      {"concat_option", "in.mp4", concat({"in.mp4"}) + "option protocol_whitelist file,http,tcp\n"},
      {"concat_itself", "in.mp4", concat({"in.mp4"})},
      {"dash", "in.mp4", dash("file://" + secret)},
      {"dash_entity", "in.mp4",
       "<?xml version=\"1.0\"?><!DOCTYPE MPD [<!ENTITY x SYSTEM \"file://" + secret + "\">]>" +
           dash("&x;").substr(39)},
      {"sdp", "in.mp4", sdp()},
      {"sdp_multicast", "in.sdp",
       "v=0\no=- 0 0 IN IP4 0.0.0.0\ns=x\nc=IN IP4 239.0.0.1/1\nt=0 0\nm=video 5004 RTP/AVP 33\n"},
      {"svg", "in.svg", svg()},
      {"avisynth", "in.avs", "Import(\"" + secret + "\")\nVersion()\n"},
      {"vapoursynth", "in.vpy", "open('" + secret + "')\n"},
      {"vobsub", "in.idx", "# VobSub index file, v7\nid: en, index: 0\n"},
      {"pattern", "in%03d.tga", std::string(100, '\1')},
      {"glob", "in*.jpg", std::string(100, '\1')},
      {"redirect", "in.ram", "http://127.0.0.1:9/a.rm\n"},
      {"asf_redirect", "in.asx", "<asx version=\"3.0\"><entry><ref href=\"http://127.0.0.1:9/\"/>"},
      {"movie_tables", "in.mp4", movie(1, 80000000)},
      {"movie_many_tables", "in.mp4", movie(20, 40000000)},
      {"movie_many_tracks", "in.mp4", movie(990, 1)},
      {"movie_too_many_tracks", "in.mp4", movie(1100, 1)},
      {"nested_boxes", "in.mp4", nestedBoxes(4000)},
      {"nested_elements", "in.mkv", nestedElements(4000)},
  };
  for (const auto& [name, picture] :
       std::map<const char*, std::string (*)(std::uint32_t, std::uint32_t)>{{"in.gif", gif},
                                                                            {"in.png", png},
                                                                            {"in.tiff", tiff},
                                                                            {"in.bmp", bmp},
                                                                            {"in.jpg", jpeg},
                                                                            {"in.y4m", y4m}}) {
    files.push_back({"huge", name, picture(16000, 16000)});
    if (!program::isSanitized) files.push_back({"wide", name, picture(65535, 1)});
    files.push_back({"sizeless", name, picture(0, 0)});
    files.push_back({"largest", name, picture(0xFFFFFFFF, 0xFFFFFFFF)});
  }
  return files;
}

class HostileCorpus : public Corpus, public testing::WithParamInterface<HostileFile> {};

TEST_P(HostileCorpus, IsRefused) {
  const program::Result result = run(GetParam().name, GetParam().content);
  EXPECT_EQ(result.exitCode, 1) << result.err;
}

INSTANTIATE_TEST_SUITE_P(Files, HostileCorpus, testing::ValuesIn(hostileFiles()),
                         [](const auto& test) {
                           std::string name = test.param.test + std::string("_") + test.param.name;
                           for (char& character : name)
                             if (std::isalnum(static_cast<unsigned char>(character)) == 0)
                               character = '_';
                           return name;
                         });

class MutatedCorpus : public Corpus, public testing::WithParamInterface<hostile::SeedClip> {
 protected:
  // Whether the damage is in the sample tables of an MP4. They may then list fewer samples, like
  // those of an edited file.
  static bool isInTables(const hostile::Mutated& file, const std::string& whole) {
    return GetParam().loss == hostile::Loss::toldInMedia && file.end > whole.rfind("moov") - 4;
  }

  // Whether `some` is `all` with a part removed.
  static bool arePartOf(const std::vector<std::string>& all, const std::vector<std::string>& some) {
    auto next = all.begin();
    for (const std::string& each : some) {
      next = std::find(next, all.end(), each);
      if (next == all.end()) return false;
      ++next;
    }
    return true;
  }
};

TEST_P(MutatedCorpus, LosesNothingInSilence) {
  const hostile::SeedClip& seed = GetParam();
  const std::string name = std::string("in.") + seed.extension;
  const std::string whole = hostile::bytesOf(seed);
  ASSERT_EQ(run(name, whole).exitCode, 0);
  const std::vector<std::string> expected = frames;
  ASSERT_EQ(expected.size(), std::size_t{hostile::seedFrames});

  const int first = program::numberFrom("HOSTILE_SEED", 1);
  const int end = first + program::numberFrom("HOSTILE_CASES", usualCases);
  for (int number = first; number < end; ++number) {
    const hostile::Mutated file = hostile::mutated(whole, static_cast<std::uint32_t>(number));
    SCOPED_TRACE("HOSTILE_SEED=" + std::to_string(number) + ": " + file.what);
    const program::Result result = run(name, file.bytes);
    if (result.exitCode != 0) continue;
    const bool isTold = result.err.find("before the first complete frame") != std::string::npos;
    const bool mayLack = isTold || seed.loss == hostile::Loss::silent || isInTables(file, whole);
    EXPECT_TRUE(mayLack || frames.size() == expected.size()) << frames.size() << " frames";
    const bool isCompared = seed.checksums || file.isCut;
    EXPECT_TRUE(!isCompared || arePartOf(expected, frames)) << "a picture is damaged";
  }
}

INSTANTIATE_TEST_SUITE_P(Clips, MutatedCorpus, testing::ValuesIn(hostile::seedClips()),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
