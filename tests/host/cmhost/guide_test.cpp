// Every row of the table in docs/cmhost.md: makes the source with ffmpeg, marks it, and compares
// streams, tags, times and pixels with the source.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include "tests/host/cmhost/fixtures/program.h"

namespace {

using Lines = std::vector<std::string>;

struct Row {
  int line = 0;         ///< in the document
  std::string source;   ///< options of ffmpeg, the last of which is the name of the source
  std::string command;  ///< arguments of cmhost
  std::string video;    ///< codec, layout, size and rate of the result
  std::string others;   ///< codecs of its other streams, sorted
};

void PrintTo(const Row& row, std::ostream* out) {
  *out << "line " << row.line << ": " << row.source << ": cmhost " << row.command;
}

Lines linesOf(const std::string& text) {
  Lines lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    if (!line.empty()) lines.push_back(line);
  }
  return lines;
}

Lines wordsOf(const std::string& text) {
  std::istringstream stream(text);
  Lines words;
  for (std::string word; stream >> word;) words.push_back(word);
  return words;
}

// The cells of a line of the table, without spaces and the marks of code.
Lines cellsOf(const std::string& line) {
  Lines cells;
  std::istringstream stream(line.substr(1));
  for (std::string cell; std::getline(stream, cell, '|');) {
    cell.erase(std::remove(cell.begin(), cell.end(), '`'), cell.end());
    const auto first = cell.find_first_not_of(' ');
    const auto last = cell.find_last_not_of(' ');
    cells.push_back(first == std::string::npos ? "" : cell.substr(first, last - first + 1));
  }
  return cells;
}

// The rows of all tables whose first column is the source.
std::vector<Row> readRows() {
  std::vector<Row> rows;
  std::istringstream document(program::readFile(CMHOST_GUIDE));
  bool inTable = false;
  int number = 0;
  for (std::string line; std::getline(document, line);) {
    ++number;
    if (line.rfind("| Source", 0) == 0) {
      inTable = true;
    } else if (line.empty() || line[0] != '|') {
      inTable = false;
    } else if (inTable && line.rfind("|--", 0) != 0) {
      const Lines cells = cellsOf(line);
      rows.push_back(Row{number, cells.at(0), cells.at(1), cells.at(2), cells.at(3)});
    }
  }
  return rows;
}

std::string nameOf(const ::testing::TestParamInfo<Row>& info) {
  const Lines command = wordsOf(info.param.command);
  std::string name = "Line" + std::to_string(info.param.line) + "_" +
                     command.at(command.size() - 2) + "_" + command.back();
  std::replace_if(
      name.begin(), name.end(), [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
  return name;
}

// Presentation times in seconds, sorted.
std::vector<double> timesOf(const std::string& folder, const std::string& file, char kind) {
  std::vector<double> times;
  const std::string text = program::ffmpeg(
      folder, "-copyts -i " + file + " -map 0:" + kind + ":0 -c copy -f framemd5 -");
  double tick = 0;
  for (const std::string& line : linesOf(text)) {
    if (line.rfind("#tb 0: ", 0) == 0) {
      const auto slash = line.find('/');
      tick = std::stod(line.substr(7, slash - 7)) / std::stod(line.substr(slash + 1));
    } else if (line[0] != '#') {
      const auto first = line.find(',');
      const auto second = line.find(',', first + 1);
      times.push_back(std::stod(line.substr(second + 1)) * tick);
    }
  }
  std::sort(times.begin(), times.end());
  return times;
}

double secondsOfSound(const std::string& folder, const std::string& file) {
  const std::string samples =
      program::ffmpeg(folder, "-i " + file + " -map 0:a:0 -ar 8000 -ac 1 -f u8 -");
  return static_cast<double>(samples.size()) / 8000;
}

// The digests of frames, without their times.
Lines digestsOf(const std::string& framemd5) {
  Lines digests;
  for (const std::string& line : linesOf(framemd5)) {
    if (line[0] != '#') digests.push_back(line.substr(line.rfind(' ') + 1));
  }
  return digests;
}

// Stores an angle in the header of the (only) video track of a MOV or MP4 file, as telephones do.
void rotateTrack(const std::string& path, int degrees) {
  std::string file = program::readFile(path);
  const auto header = file.find("tkhd");
  ASSERT_NE(header, std::string::npos);
  // Version 0: after the name come 40 bytes, then the matrix of nine 32-bit numbers in 16.16.
  const auto matrix = header + 4 + 40;
  const int cosine = degrees == 180 ? -1 : 0;
  const int sine = degrees == 90 ? 1 : degrees == 270 ? -1 : 0;
  const int values[5] = {cosine, sine, 0, -sine, cosine};
  for (int i = 0; i < 5; ++i) {
    const char sign = values[i] < 0 ? '\xff' : '\0';
    const std::string number = {sign, values[i] < 0 ? '\xff' : static_cast<char>(values[i]), '\0',
                                '\0'};
    file.replace(matrix + 4 * static_cast<std::size_t>(i), 4, number);
  }
  program::writeFile(path, file);
}

class Guide : public ::testing::TestWithParam<Row> {
 protected:
  void SetUp() override {
    program::writeFile(folder_ / "words.srt", "1\n00:00:00,200 --> 00:00:01,500\nhello\n");
    program::writeFile(
        folder_ / "tags.txt",
        ";FFMETADATA1\ntitle=A film\n[CHAPTER]\nTIMEBASE=1/1\nSTART=0\nEND=1\ntitle=One\n");
    std::string options = GetParam().source;
    int degrees = 0;
    if (options.rfind("-rotate ", 0) == 0) {
      std::size_t length = 0;
      degrees = std::stoi(options.substr(8), &length);
      options = options.substr(8 + length);
    }
    arguments_ = wordsOf(GetParam().command);
    source_ = arguments_.at(arguments_.size() - 2);
    output_ = arguments_.back();
    // ffmpeg maps nothing else by itself once one stream is mapped.
    if (options.find("-map ") == std::string::npos) options.insert(0, "-map 0 -map 1 ");
    program::ffmpeg(
        folder_.path(),
        "-f lavfi -i testsrc2=size=320x180:rate=25:duration=1.2 -f lavfi -i "
        "sine=duration=1.2:sample_rate=48000 -i words.srt -i tags.txt -map_metadata 3 " +
            options);
    if (degrees != 0) rotateTrack(folder_ / source_, degrees);
    const auto result = program::run(folder_.path(), arguments_);
    ASSERT_EQ(result.exitCode, 0) << result.messages();
  }

  // The first values of these entries of the video stream, in ffprobe's order.
  std::string video(const std::string& file, const std::string& names) const {
    const std::string text =
        program::probe(folder_.path(), file, "stream=" + names + " -select_streams V:0");
    std::string values;
    Lines seen;
    for (const std::string& line : linesOf(text)) {
      const auto equals = line.find('=');
      const std::string name = line.substr(0, equals);
      if (std::find(seen.begin(), seen.end(), name) != seen.end()) continue;  // once per program
      seen.push_back(name);
      values += (values.empty() ? "" : " ") + line.substr(equals + 1);
    }
    return values;
  }

  bool isSame(const std::string& name) const {
    return video(source_, name) == video(output_, name);
  }

  // The same run with another output.
  void markTo(const std::string& output, const Lines& more = {}) const {
    Lines arguments = more;
    for (std::size_t i = 0; i + 1 < arguments_.size(); ++i) {
      // What chooses the encoder does not matter here.
      if (arguments_[i] == "--lossless") continue;
      if (arguments_[i] == "--encoder" || arguments_[i] == "--crf" || arguments_[i] == "--preset" ||
          arguments_[i] == "--bitrate") {
        ++i;
        continue;
      }
      arguments.push_back(arguments_[i]);
    }
    arguments.push_back(output);
    const auto result = program::run(folder_.path(), arguments);
    ASSERT_EQ(result.exitCode, 0) << result.messages();
  }

  bool changesTheRate() const { return !isSame("r_frame_rate"); }

  void expectTheVideo();
  void expectTheOtherStreams();
  void expectTheTags();
  void expectTheTimes();
  void expectTheFramesThatFfmpegShows();

 private:
  program::Folder folder_;
  Lines arguments_;
  std::string source_;
  std::string output_;
};

// Layouts whose samples are marked as they are, in this or another packing.
bool isMarkedAsItIs(const std::string& layout) {
  const Lines layouts = {"yuv420p",  "yuv422p", "yuv444p", "yuvj420p", "yuvj422p",
                         "yuvj444p", "nv12",    "nv21",    "nv16",     "nv24",
                         "yuyv422",  "uyvy422", "yvyu422", "gray"};
  return std::find(layouts.begin(), layouts.end(), layout) != layouts.end();
}

bool isLossless(const std::string& codec) {
  const Lines codecs = {"ffv1",    "rawvideo", "wrapped_avframe", "png",
                        "huffyuv", "ffvhuff",  "utvideo"};
  return std::find(codecs.begin(), codecs.end(), codec) != codecs.end();
}

void Guide::expectTheVideo() {
  EXPECT_EQ(video(output_, "codec_name,pix_fmt,width,height,r_frame_rate"), GetParam().video);
}

void Guide::expectTheOtherStreams() {
  Lines codecs;
  const std::string text = program::probe(folder_.path(), output_, "stream=index,codec_name");
  Lines indices;
  for (const std::string& line : linesOf(text)) {
    const std::string value = line.substr(line.find('=') + 1);
    if (line.rfind("index=", 0) == 0) {
      indices.push_back(value);
    } else if (std::count(indices.begin(), indices.end(), indices.back()) == 1) {
      if (value != "bin_data") codecs.push_back(value);  // chapters as text, in MOV and MP4
    }
  }
  const std::string own = wordsOf(GetParam().video).front();
  const auto position = std::find(codecs.begin(), codecs.end(), own);
  ASSERT_NE(position, codecs.end()) << text;
  codecs.erase(position);
  std::sort(codecs.begin(), codecs.end());
  EXPECT_EQ(codecs, wordsOf(GetParam().others == "none" ? "" : GetParam().others));
}

void Guide::expectTheTags() {
  if (isMarkedAsItIs(video(source_, "pix_fmt"))) {
    for (const char* name : {"color_space", "color_transfer", "color_primaries", "field_order"}) {
      const std::string due = video(source_, name);
      const std::string actual = video(output_, name);
      if (due != "unknown" && actual != "unknown") {
        EXPECT_EQ(actual, due) << name;
      }
    }
  }
  const Lines containers = {".mp4", ".mov", ".mkv"};
  const auto keepsTitles = [&](const std::string& name) {
    return std::find(containers.begin(), containers.end(), name.substr(name.rfind('.'))) !=
           containers.end();
  };
  if (keepsTitles(source_) && keepsTitles(output_)) {
    EXPECT_NE(program::probe(folder_.path(), output_, "format_tags=title").find("A film"),
              std::string::npos);
    EXPECT_NE(program::probe(folder_.path(), output_, "chapter_tags=title").find("One"),
              std::string::npos);
  }
}

// A frame is shown when the source shows it. Where the rate changes, only the duration is the same.
void Guide::expectTheTimes() {
  const std::vector<double> due = timesOf(folder_.path(), source_, 'V');
  const std::vector<double> actual = timesOf(folder_.path(), output_, 'V');
  ASSERT_FALSE(due.empty());
  ASSERT_FALSE(actual.empty());
  const double frame = 1.0 / 23;
  EXPECT_NEAR(actual.back() - actual.front(), due.back() - due.front(), frame);
  if (isSame("r_frame_rate") && due.size() > 1) {
    ASSERT_EQ(actual.size(), due.size());
    for (std::size_t i = 0; i < due.size(); ++i) {
      EXPECT_NEAR(actual[i] - actual.front(), due[i] - due.front(), 0.0021) << "frame " << i;
    }
  }

  const auto hasSound = [&](const std::string& file) {
    return program::probe(folder_.path(), file, "stream=codec_type").find("audio") !=
           std::string::npos;
  };
  if (!hasSound(source_) || !hasSound(output_)) return;
  // Codecs add or take a frame of sound at most.
  EXPECT_NEAR(secondsOfSound(folder_.path(), output_), secondsOfSound(folder_.path(), source_),
              0.06);
  const double dueOffset = timesOf(folder_.path(), source_, 'a').front() - due.front();
  const double offset = timesOf(folder_.path(), output_, 'a').front() - actual.front();
  EXPECT_NEAR(offset, dueOffset, 0.05);
}

// The marked frames are those of the source as ffmpeg shows it, and the output decodes to them:
// exactly where nothing is converted or lost.
void Guide::expectTheFramesThatFfmpegShows() {
  // Pictures that hold RGB go there and back by themselves; this output does not.
  const bool isRgb = video(source_, "pix_fmt").rfind("rgb", 0) == 0;
  const bool isConverted = GetParam().command.find("--convert") != std::string::npos;
  markTo("marked.y4m", isRgb && !isConverted ? Lines{"--convert", "Y44P"} : Lines{});
  const std::string plainLayout = video("marked.y4m", "pix_fmt");
  std::string layout = plainLayout;
  if (plainLayout.find("yuvj") != 0 && video("marked.y4m", "color_range") == "pc")
    layout.insert(layout.find("yuv") + 3, "j");
  program::ffmpeg(folder_.path(), "-i " + source_ + " -map 0:V:0 -fps_mode passthrough -pix_fmt " +
                                      layout + " -f yuv4mpegpipe -strict -1 shown.y4m");
  ASSERT_EQ(program::run(folder_.path(), {"shown.y4m", "due.y4m"}).exitCode, 0);
  const auto similarity = [&](const std::string& file, const std::string& reference) {
    program::ffmpeg(folder_.path(), "-i " + file + " -i " + reference +
                                        " -lavfi \"[0:V:0]format=" + layout +
                                        ",settb=1/25,setpts=N[a];[1:v]settb=1/25,setpts=N[b];"
                                        "[a][b]psnr=stats_file=psnr.txt\" -f null -");
    double least = 1000;
    for (const std::string& line : linesOf(program::readFile(folder_ / "psnr.txt"))) {
      const auto at = line.find("psnr_avg:");
      const std::string value = line.substr(at + 9, line.find(' ', at) - at - 9);
      if (value != "inf") least = std::min(least, std::stod(value));
    }
    return least;
  };
  const bool isExact = isMarkedAsItIs(video(source_, "pix_fmt")) && !changesTheRate();
  if (isExact) {
    EXPECT_EQ(digestsOf(program::ffmpeg(folder_.path(), "-i marked.y4m -f framemd5 -")),
              digestsOf(program::ffmpeg(folder_.path(), "-i due.y4m -f framemd5 -")));
  } else if (!changesTheRate()) {
    EXPECT_GT(similarity("marked.y4m", "due.y4m"), 30);
  }
  if (changesTheRate()) return;
  const Lines result = wordsOf(GetParam().video);
  if (isLossless(result.at(0)) && result.at(3) == plainLayout) {
    EXPECT_EQ(
        digestsOf(program::ffmpeg(folder_.path(), "-i " + output_ + " -map 0:V:0 -f framemd5 -")),
        digestsOf(program::ffmpeg(folder_.path(), "-i marked.y4m -f framemd5 -")));
  } else {
    EXPECT_GT(similarity(output_, "marked.y4m"), 25);
  }
}

TEST_P(Guide, SaysWhatComesOut) {
  expectTheVideo();
  expectTheOtherStreams();
  expectTheTags();
  expectTheTimes();
  expectTheFramesThatFfmpegShows();
}

INSTANTIATE_TEST_SUITE_P(Rows, Guide, ::testing::ValuesIn(readRows()), nameOf);

}  // namespace
