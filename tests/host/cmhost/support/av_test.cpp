#include "host/cmhost/support/av.h"

#include <gtest/gtest.h>

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

}  // namespace
