// Text from files as printed on a terminal and in JSON.
#include "host/cmhost/support/messages.h"

#include <gtest/gtest.h>

namespace {

using cmhost::escaped;

TEST(Messages, OrdinaryTextStays) {
  for (const char* const text :
       {"", "clip 01.mkv", R"(back\slash "quotes")", "\u00e9t\u00e9 \u03a9 \u6c34 \U0001f600",
        "\u00a0\u0620\u200d\u2030\u2070\ufeff"})
    EXPECT_EQ(escaped(text), text);
}

TEST(Messages, ControlCharactersAreWrittenOut) {
  EXPECT_EQ(escaped("\x1b[2J\n\r\t\x07"), R"(\x1b[2J\x0a\x0d\x09\x07)");
  EXPECT_EQ(escaped(std::string("a\0b\x1f\x7f", 5)), R"(a\x00b\x1f\x7f)");
  EXPECT_EQ(escaped("\u0080 \u009b2J \u009f"), R"(\u{80} \u{9b}2J \u{9f})");
}

TEST(Messages, WhatTurnsOrSeparatesTextIsWrittenOut) {
  EXPECT_EQ(escaped("a\u202evkm.exe"), R"(a\u{202e}vkm.exe)");
  EXPECT_EQ(escaped("\u061c\u200e\u200f\u2028\u2029"),
            R"(\u{61c}\u{200e}\u{200f}\u{2028}\u{2029})");
  EXPECT_EQ(escaped("\u202a\u202d\u2066\u2069"), R"(\u{202a}\u{202d}\u{2066}\u{2069})");
}

TEST(Messages, BytesThatAreNotUtf8AreWrittenOut) {
  EXPECT_EQ(escaped("\x9b"
                    "2J\xff"),
            R"(\x9b2J\xff)");
  EXPECT_EQ(escaped("\xc3"), R"(\xc3)");                            // truncated
  EXPECT_EQ(escaped("\xe2\x80x"), R"(\xe2\x80x)");                  // truncated inside
  EXPECT_EQ(escaped("\xc0\x9b \xc1\xbf"), R"(\xc0\x9b \xc1\xbf)");  // overlong, of two bytes
  EXPECT_EQ(escaped("\xe0\x82\x9b"), R"(\xe0\x82\x9b)");            // of three
  EXPECT_EQ(escaped("\xf0\x80\x80\x9b"), R"(\xf0\x80\x80\x9b)");    // of four
  EXPECT_EQ(escaped("\xed\xa0\x80"), R"(\xed\xa0\x80)");            // half a surrogate pair
  EXPECT_EQ(escaped("\xf4\x90\x80\x80"), R"(\xf4\x90\x80\x80)");    // above U+10FFFF
  EXPECT_EQ(escaped("\xed\x9f\xbf\xf4\x8f\xbf\xbf"), "\xed\x9f\xbf\xf4\x8f\xbf\xbf");
}

TEST(Messages, Counts) {
  EXPECT_EQ(cmhost::framesText(1), "1 frame");
  EXPECT_EQ(cmhost::framesText(2), "2 frames");
  EXPECT_EQ(cmhost::secondsText(1.5), "1.500 s");
}

}  // namespace
