#include <gtest/gtest.h>

#include <exception>
#include <string>

#include "lib/cm/CException.h"

namespace {

using QOR::CException;
using QOR::CString;

TEST(CException, CarriesWhereAndWhat) {
  std::string name = "name";
  std::string file = "folder/file";
  std::string function = "void f()";
  const CException exception(name.c_str(), 203, file.c_str(), function.c_str(),
                             CString::createWithFormat("message %d", 1));
  name = file = function = "changed since";
  EXPECT_STREQ(exception.name(), "name");
  EXPECT_EQ(exception.line(), 203);
  EXPECT_STREQ(exception.file(), "folder/file");
  EXPECT_STREQ(exception.function(), "void f()");
  EXPECT_STREQ(exception.message(), "message 1");
  EXPECT_STREQ(exception.what(), "message 1");
}

TEST(CException, IsThrownByValueAndCaughtAsStandardException) {
  try {
    throw CException("n", 1, "f", "g", CString::createWithFormat("why"));
  } catch (const std::exception& exception) {
    EXPECT_STREQ(exception.what(), "why");
  }
}

TEST(CException, Copies) {
  CException copy("", 0, "", "", CString());
  {
    const CException original("n", 5, "f", "g", CString::createWithFormat("why"));
    copy = original;
  }
  EXPECT_STREQ(copy.name(), "n");
  EXPECT_EQ(copy.line(), 5);
  EXPECT_STREQ(copy.message(), "why");
}

}  // namespace
