#include "host/cmhost/module/exception_text.h"

#include <cxxabi.h>

#include <cstdlib>
#include <exception>
#include <memory>
#include <typeinfo>

namespace cmhost {

namespace {

struct FreeText {
  void operator()(char* text) const { std::free(text); }
};

std::string currentTypeText() {
  const std::type_info* const type = abi::__cxa_current_exception_type();
  if (type == nullptr) return "unknown exception";
  int status = 0;
  const std::unique_ptr<char, FreeText> name(
      abi::__cxa_demangle(type->name(), nullptr, nullptr, &status));
  return std::string("an exception of type ") + (name != nullptr ? name.get() : type->name());
}

}  // namespace

std::string currentExceptionText() {
  try {
    throw;
  } catch (const std::exception& exception) {
    const char* const what = exception.what();
    return what != nullptr && *what != '\0' ? what : currentTypeText();
  } catch (...) {
    return currentTypeText();
  }
}

}  // namespace cmhost
