#pragma once

#include <exception>

#include "lib/cm/CMExport.h"
#include "lib/cm/CString.h"

namespace QOR {

/// The host's exception: thrown by value across the boundary between module and host, and caught by
/// the host. It records where the error occurred and what it is.
class CM_API CException : public std::exception {
 public:
  /// `name`, `file` and `function` are copied; `line` is the line in `file`, as given by the
  /// thrower.
  CException(const char* name, int line, const char* file, const char* function,
             const CString& message);
  CException(const CException& other);
  CException& operator=(const CException& other);
  ~CException() override;

  const char* name() const;
  int line() const;
  const char* file() const;
  const char* function() const;
  const char* message() const;

  /// The message.
  const char* what() const noexcept override;

 private:
  CString name_;
  int line_;
  CString file_;
  CString function_;
  CString message_;
};

}  // namespace QOR
