#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <utility>

#include "lib/cm/CString.h"

namespace QOR {

CString::CString() : text_(nullptr) {}

CString::CString(const CString& other) : text_(nullptr) {
  if (other.text_ == nullptr) return;
  const std::size_t bytes = std::strlen(other.text_) + 1;
  text_ = new char[bytes];
  std::memcpy(text_, other.text_, bytes);
}

CString::CString(CString&& other) noexcept : text_(std::exchange(other.text_, nullptr)) {}

CString& CString::operator=(CString other) noexcept {
  std::swap(text_, other.text_);
  return *this;
}

CString::~CString() { delete[] text_; }

CString CString::createWithFormat(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(nullptr, 0, format, arguments);
  va_end(arguments);
  CString result;
  if (length < 0) return result;
  const std::size_t bytes = static_cast<std::size_t>(length) + 1;
  result.text_ = new char[bytes];
  va_start(arguments, format);
  std::vsnprintf(result.text_, bytes, format, arguments);
  va_end(arguments);
  return result;
}

const char* CString::text() const { return text_ != nullptr ? text_ : ""; }

}  // namespace QOR
