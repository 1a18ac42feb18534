#include "host/cmhost/support/av_log.h"

extern "C" {
#include <libavutil/error.h>
}

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// A logging object. Its class is the first member, as the media libraries require.
struct Source {
  const AVClass* kind;
};

std::string keptOf(const AVClass& kind) {
  cmhost::captureAvLog();
  Source source = {&kind};
  av_log(&source, AV_LOG_ERROR, "slice %d is lost.\n", 3);
  av_log_set_callback(av_log_default_callback);
  return cmhost::avErrorReason(AVERROR(ENOMEM));
}

AVClass decoder() {
  AVClass kind = {};
  kind.class_name = "class";
  kind.category = AV_CLASS_CATEGORY_DECODER;
  return kind;
}

TEST(AvLog, KeepsErrorsWithTheNameOfTheirSource) {
  AVClass kind = decoder();
  kind.item_name = [](void*) { return "item"; };
  EXPECT_EQ(keptOf(kind), "Cannot allocate memory (item: slice 3 is lost)");
}

TEST(AvLog, SourceMayHaveNoName) {
  AVClass kind = decoder();
  EXPECT_EQ(keptOf(kind), "Cannot allocate memory (class: slice 3 is lost)");
  kind.item_name = [](void*) -> const char* { return nullptr; };
  EXPECT_EQ(keptOf(kind), "Cannot allocate memory (slice 3 is lost)");
}

class Listener final : public cmhost::AvLogListener {
 public:
  ~Listener() override { stopListening(); }
  bool isDetail(const char* format) const override {
    return std::string(format).rfind("repaired ", 0) == 0;
  }
  void logged(const cmhost::AvLogLine& line) override { lines.push_back(line); }

  std::vector<cmhost::AvLogLine> lines;
};

TEST(AvLog, ListenerGetsWarningsErrorsAndTheDetailsThatItSelects) {
  Listener listener;
  cmhost::captureAvLog();
  const AVClass kind = decoder();
  Source source = {&kind};
  av_log(&source, AV_LOG_ERROR, "lost %d\n", 1);
  av_log(&source, AV_LOG_WARNING, "odd.\n");
  av_log(&source, AV_LOG_INFO, "repaired %d\n", 2);
  av_log(&source, AV_LOG_INFO, "opened\n");
  av_log(nullptr, AV_LOG_ERROR, "repaired, of nobody");
  av_log_set_callback(av_log_default_callback);
  ASSERT_EQ(listener.lines.size(), 4U);
  const auto is = [&](std::size_t i, int level, bool isDetail, const char* text) {
    const cmhost::AvLogLine& line = listener.lines[i];
    return line.level == level && line.isDetail == isDetail && line.text == text;
  };
  EXPECT_TRUE(is(0, AV_LOG_ERROR, false, "class: lost 1"));
  EXPECT_TRUE(is(1, AV_LOG_WARNING, false, "class: odd"));
  EXPECT_TRUE(is(2, AV_LOG_INFO, true, "class: repaired 2"));
  EXPECT_TRUE(is(3, AV_LOG_ERROR, false, "repaired, of nobody"));
  EXPECT_EQ(listener.lines[2].category, AV_CLASS_CATEGORY_DECODER);
  EXPECT_EQ(listener.lines[3].category, AV_CLASS_CATEGORY_NA);
}

}  // namespace
