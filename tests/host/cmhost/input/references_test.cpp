// References in an input are opened only if the user allows it.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "tests/host/cmhost/fixtures/clip.h"
#include "tests/host/cmhost/fixtures/program.h"
#include "tests/host/cmhost/fixtures/watched_run.h"
#include "tests/host/cmhost/fixtures/web_server.h"
#include "tests/host/cmhost/input/integrity/hostile/hostile_files.h"

namespace {

using program::Folder;
using program::Result;

constexpr std::size_t clipFrames = 12;

using hostile::concat;
using hostile::dash;
using hostile::hls;
using hostile::sdp;
using hostile::svg;

class References : public testing::Test {
 protected:
  void writeClip(const std::string& name, const char* encoder) {
    clip::Clip clip;
    clip.encoder = encoder;
    clip.pictures = clip::drawMany(AV_PIX_FMT_YUV420P, 160, 120, clipFrames);
    clip::write(folder / name, clip);
  }

  // Runs with `name`, which must be refused in one line that contains all of `parts`, without
  // opening anything else.
  void expectRefusal(const std::string& name, const std::vector<std::string>& parts,
                     std::vector<std::string> arguments = {}) {
    SCOPED_TRACE(name);
    arguments.insert(arguments.end(), {name, "out.mkv"});
    const watched::Run run = watched::run(folder.path(), arguments);
    EXPECT_EQ(run.result.exitCode, 1) << run.result.err;
    EXPECT_EQ(std::count(run.result.err.begin(), run.result.err.end(), '\n'), 1) << run.result.err;
    for (const std::string& part : parts)
      EXPECT_NE(run.result.err.find(part), std::string::npos) << part << "; " << run.result.err;
    EXPECT_EQ(run.forbidden, std::vector<std::string>());
    EXPECT_EQ(watched::unexpected(run.opened, {name, "out.mkv"}), std::vector<std::string>());
  }

  Result runAllowing(const char* references, const std::string& name,
                     std::vector<std::string> more = {}) {
    more.insert(more.end(), {"--allow-references", references, "--overwrite", name, "out.nut"});
    return program::run(folder.path(), more);
  }

  void expectFrames(const Result& run, std::size_t frames) {
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(clip::read(folder / "out.nut").pictures.size(), frames);
  }

  Folder folder;
};

TEST_F(References, AreNotOpened) {
  writeClip("clip.ts", "mpeg2video");
  writeClip("clip.mp4", "mpeg4");
  const struct {
    std::string content, reference, option;
  } files[] = {
      {concat({"clip.ts"}), "'clip.ts'", "--allow-references file"},
      {dash("clip.mp4"), "'clip.mp4'", "--allow-references file"},
      {dash("https://127.0.0.1/"), "'https://127.0.0.1/'", "--allow-references network"},
      {sdp(), "'IN IP4 127.0.0.1'", "--allow-references network"},
  };
  for (const auto& file : files)
    for (const char* const name : {"e.mp4", "e.mkv", "e.ts"}) {
      program::writeFile(folder / name, file.content);
      expectRefusal(name, {name, file.reference, file.option});
    }
}

TEST_F(References, PlaylistsAreNotOpened) {
  writeClip("clip.ts", "mpeg2video");
  const std::string address = "http://127.0.0.1:9/x.ts";
  for (const char* const name : {"e.m3u8", "e.m3u", "e.mp4", "e.ts"}) {
    program::writeFile(folder / name, hls({"clip.ts"}));
    expectRefusal(name, {name, "'clip.ts'", "--allow-references file"});
    program::writeFile(folder / name, hls({address}));
    expectRefusal(name, {name, "'http://127.0.0.1:9/x.ts'", "--allow-references network"});
  }
}

// No media library recognises these by their content.
TEST_F(References, PlainPlaylistsAreNotOpened) {
  writeClip("clip.ts", "mpeg2video");
  for (const char* const name : {"e.m3u8", "e.mp4"}) {
    program::writeFile(folder / name, "#EXTM3U\nclip.ts\n");
    expectRefusal(name, {name, "a playlist (hls)", "'clip.ts'", "--allow-references file"});
  }
}

TEST_F(References, ControlCharactersAreEscaped) {
  program::writeFile(folder / "e.mp4", concat({"a\x1b[2Jb\x07.ts"}));
  expectRefusal("e.mp4", {"'a\\x1b[2Jb\\x07.ts'"});
}

TEST_F(References, DrawingsAreNotOpened) {
  program::writeFile(folder / "e.svg", svg());
  expectRefusal("e.svg", {"e.svg", "svg", "--allow-references file"});
}

// The demuxer of image sequences uses the file name as a pattern.
TEST_F(References, NameIsNoPattern) {
  clip::Clip clip;
  clip.encoder = "png";
  clip.pictures = {clip::draw(AV_PIX_FMT_GRAY8, 160, 120, 0)};
  const std::string name = "p%03d.png";
  clip::write(folder / name, clip);
  program::writeFile(folder / name, program::readFile(folder / "p001.png"));
  const auto run = watched::run(folder.path(), {"--convert", "IYUV", name, "out.mkv"});
  EXPECT_EQ(run.result.exitCode, 0) << run.result.err;
  EXPECT_EQ(watched::unexpected(run.opened, {name, "out.mkv"}), std::vector<std::string>());
}

TEST_F(References, FilesAreOpenedWhenAllowed) {
  writeClip("clip.ts", "mpeg2video");
  writeClip("clip.mp4", "mpeg4");
  program::writeFile(folder / "e.m3u8", hls({"clip.ts"}));
  expectFrames(runAllowing("file", "e.m3u8"), clipFrames);
  program::writeFile(folder / "e.mp4", concat({"clip.mp4", "clip.mp4"}));
  expectFrames(runAllowing("file", "e.mp4"), 2 * clipFrames);
  program::writeFile(folder / "e.mp4", dash("clip.mp4"));
  expectFrames(runAllowing("file", "e.mp4"), clipFrames);
  program::writeFile(folder / "e.svg", svg());
  expectFrames(runAllowing("file", "e.svg", {"--convert", "IYUV"}), 1);
}

// They are resolved relative to the playlist.
TEST_F(References, AreRelativeToTheFile) {
  writeClip("clip.ts", "mpeg2video");
  program::writeFile(folder / "e.mp4", concat({"clip.ts"}));
  const Folder elsewhere;
  const Result run =
      program::run(elsewhere.path(), {"--allow-references", "file", folder / "e.mp4", "out.nut"});
  EXPECT_EQ(run.exitCode, 0) << run.err;
}

TEST_F(References, AddressesStayClosedWhenFilesAreAllowed) {
  writeClip("clip.ts", "mpeg2video");
  const std::string address = "http://127.0.0.1:9/x.ts";
  const auto expectClosed = [&](const std::string& content, const std::string& part,
                                const std::string& name = "e.mp4") {
    program::writeFile(folder / name, content);
    SCOPED_TRACE(content);
    const watched::Run run =
        watched::run(folder.path(), {"--allow-references", "file", name, "out.mkv"});
    EXPECT_EQ(run.result.exitCode, 1);
    EXPECT_NE(run.result.err.find(part), std::string::npos) << run.result.err;
    EXPECT_EQ(run.forbidden, std::vector<std::string>());
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"clip.ts", name}));
    std::filesystem::remove(folder / name);
  };
  expectClosed(hls({address}), "--allow-references network", "e.m3u8");
  expectClosed(hls({"clip.ts", address}), "'" + address + "'", "e.m3u8");
  expectClosed(concat({"clip.ts", address}), "'" + address + "'");
  expectClosed(dash(address), "--allow-references network");
  expectClosed(sdp(), "--allow-references network");
}

TEST_F(References, MissingPartIsTold) {
  writeClip("clip.ts", "mpeg2video");
  program::writeFile(folder / "e.m3u8", hls({"clip.ts", "gone.ts", "clip.ts"}));
  const Result run = runAllowing("file", "e.m3u8");
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_NE(run.err.find("'gone.ts', which cannot be opened: No such file"), std::string::npos)
      << run.err;
}

TEST_F(References, OwnNameIsNoEndlessLoop) {
  program::writeFile(folder / "e.ts", concat({"e.ts"}));
  EXPECT_EQ(runAllowing("file", "e.ts").exitCode, 1);
  program::writeFile(folder / "e.m3u8", hls({"e.m3u8"}));
  EXPECT_EQ(runAllowing("file", "e.m3u8").exitCode, 1);
}

TEST_F(References, AddressesAreOpenedWhenAllowed) {
  writeClip("clip.ts", "mpeg2video");
  const web::Server server({{"/clip.ts", program::readFile(folder / "clip.ts")}});
  program::writeFile(folder / "e.m3u8", hls({server.address() + "/clip.ts"}));
  expectFrames(runAllowing("network", "e.m3u8"), clipFrames);
}

TEST_F(References, SignalEndsWaitingForTheNetwork) {
  const web::Server server({});  // accepts connections and does not answer
  program::writeFile(folder / "e.m3u8", hls({server.address() + "/clip.ts"}));
  program::Process process(folder.path(), {"--allow-references", "network", "e.m3u8", "out.mkv"});
  server.waitForConnection();
  process.signal(SIGINT);
  const Result run = process.wait(std::chrono::seconds(20));
  EXPECT_EQ(run.exitCode, 128 + SIGINT) << run.err;
}

TEST_F(References, OtherOptionsDoNotAllowThem) {
  writeClip("clip.ts", "mpeg2video");
  program::writeFile(folder / "e.mp4", concat({"clip.ts"}));
  for (const char* const option :
       {"protocol_whitelist=file", "protocol_blacklist=http", "safe=0"}) {
    const Result run = program::run(folder.path(), {"--input-option", option, "e.mp4", "out.mkv"});
    EXPECT_EQ(run.exitCode, 2) << option;
    EXPECT_NE(run.err.find("requires --allow-references"), std::string::npos) << run.err;
  }
  // Without the check for safe names, a list can set the protocols itself.
  const Result run = runAllowing("file", "e.mp4", {"--input-option", "safe=0"});
  EXPECT_EQ(run.exitCode, 2);
  EXPECT_NE(run.err.find("requires --allow-references network"), std::string::npos) << run.err;
}

TEST_F(References, ProtocolsCanBeChosen) {
  writeClip("clip.ts", "mpeg2video");
  program::writeFile(folder / "e.m3u8", hls({"clip.ts"}));
  const Result run =
      runAllowing("network", "e.m3u8", {"--input-option", "protocol_whitelist=http,tcp"});
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_NE(run.err.find("http,tcp"), std::string::npos) << run.err;
}

// A QuickTime movie with its media in another file, referred to by a Macintosh alias.
class MovieReferences : public References {
 protected:
  static std::string number(std::uint32_t value, int bytes) {
    std::string text;
    for (int i = bytes - 1; i >= 0; --i) text += static_cast<char>(value >> (8 * i));
    return text;
  }

  static std::string alias(const std::string& path) {
    std::string record = std::string(10 + 28 + 12 + 64 + 16, '\0') + number(1, 2) + number(1, 2) +
                         std::string(16, '\0') + number(2, 2) +
                         number(static_cast<std::uint32_t>(path.size()), 2) + path +
                         (path.size() % 2 != 0 ? std::string(1, '\0') : "") + number(0xFFFF, 2) +
                         number(0, 2);
    return number(static_cast<std::uint32_t>(record.size() + 12), 4) + "alis" + number(0, 4) +
           record;
  }

  // Replaces the first reference to the file itself by an alias. The movie's headers follow its
  // media data, so that nothing else moves.
  static std::string withAlias(std::string movie, const std::string& path) {
    const std::string own = number(12, 4) + "url " + number(1, 4);
    const std::size_t at = movie.rfind(own);
    const std::string record = alias(path);
    for (const char* const box : {"moov", "trak", "mdia", "minf", "dinf", "dref"}) {
      const std::size_t head = movie.rfind(box, at) - 4;
      std::uint32_t size = 0;
      for (std::size_t i = 0; i < 4; ++i)
        size = size << 8 | static_cast<unsigned char>(movie[head + i]);
      size += static_cast<std::uint32_t>(record.size() - own.size());
      movie.replace(head, 4, number(size, 4));
    }
    return movie.replace(at, own.size(), record);
  }
};

TEST_F(MovieReferences, AreOpenedWhenAllowed) {
  writeClip("pictures.mov", "mpeg4");
  const std::string movie = program::readFile(folder / "pictures.mov");
  program::writeFile(folder / "e.mov", withAlias(movie, "/disk/pictures.mov"));
  expectRefusal("e.mov", {"'pictures.mov'", "--allow-references file"});
  expectRefusal("e.mov", {"'pictures.mov'", "--allow-references file"},
                {"--input-option", "enable_drefs=1"});
  expectFrames(runAllowing("file", "e.mov"), clipFrames);
  const Result off = runAllowing("file", "e.mov", {"--input-option", "enable_drefs=0"});
  EXPECT_EQ(off.exitCode, 1) << off.err;
}

TEST_F(MovieReferences, AbsolutePathIsNotOpened) {
  writeClip("pictures.mov", "mpeg4");
  std::string alias = withAlias(program::readFile(folder / "pictures.mov"), "/etc/hostname");
  program::writeFile(folder / "e.mov", alias);
  expectRefusal("e.mov", {"e.mov"});
  alias[alias.rfind("alis") + 4 + 4 + 130 + 1] = 0;  // no common parent folders
  program::writeFile(folder / "e.mov", alias);
  expectRefusal("e.mov", {"'/etc/hostname'", "--allow-references file"});
}

}  // namespace
