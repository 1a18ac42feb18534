#pragma once

#include "lib/cm/CMExport.h"

namespace QOR {

/// The host's string: an owned, null-terminated byte string.
class CM_API CString {
 public:
  /// The empty string.
  CString();
  CString(const CString& other);
  CString(CString&& other) noexcept;
  CString& operator=(CString other) noexcept;
  ~CString();

  /// A string built from a `printf` format and its arguments. Throws `std::bad_alloc` when memory
  /// runs out.
  static CString createWithFormat(const char* format, ...) __attribute__((format(printf, 1, 2)));

  /// The text; never null, valid as long as this object is neither assigned to nor destroyed.
  const char* text() const;

 private:
  char* text_;
};

}  // namespace QOR
