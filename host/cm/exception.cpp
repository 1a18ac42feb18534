#include "lib/cm/CException.h"

namespace QOR {

namespace {

CString copyOf(const char* text) {
  return CString::createWithFormat("%s", text != nullptr ? text : "");
}

}  // namespace

CException::CException(const char* name, int line, const char* file, const char* function,
                       const CString& message)
    : name_(copyOf(name)),
      line_(line),
      file_(copyOf(file)),
      function_(copyOf(function)),
      message_(message) {}

CException::CException(const CException& other) = default;
CException& CException::operator=(const CException& other) = default;
CException::~CException() = default;

const char* CException::name() const { return name_.text(); }
int CException::line() const { return line_; }
const char* CException::file() const { return file_.text(); }
const char* CException::function() const { return function_.text(); }
const char* CException::message() const { return message_.text(); }
const char* CException::what() const noexcept { return message_.text(); }

}  // namespace QOR
