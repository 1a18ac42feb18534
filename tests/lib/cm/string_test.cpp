#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "lib/cm/CString.h"

namespace {

using QOR::CString;

TEST(CString, EmptyIsNotNull) { EXPECT_STREQ(CString().text(), ""); }

TEST(CString, Formats) {
  EXPECT_STREQ(CString::createWithFormat("no arguments").text(), "no arguments");
  EXPECT_STREQ(CString::createWithFormat("%d%% of %s", 7, "ten").text(), "7% of ten");
  EXPECT_STREQ(CString::createWithFormat("%s", "").text(), "");
}

TEST(CString, HoldsLongText) {
  const std::string text(100000, 'x');
  EXPECT_EQ(CString::createWithFormat("%s", text.c_str()).text(), text);
}

TEST(CString, CopiesAreTheirOwn) {
  CString first = CString::createWithFormat("first");
  const CString copy = first;
  first = CString::createWithFormat("second");
  EXPECT_STREQ(copy.text(), "first");
  EXPECT_STREQ(first.text(), "second");
  const CString moved = std::move(first);
  EXPECT_STREQ(moved.text(), "second");
  // NOLINTNEXTLINE(bugprone-use-after-move,clang-analyzer-cplusplus.Move): it is empty
  EXPECT_STREQ(first.text(), "");
}

}  // namespace
