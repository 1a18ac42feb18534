#pragma once

#include <string>

namespace cmhost {

/// What the exception that is being handled says of itself; its type when it is no
/// `std::exception`. To be called where an exception is caught.
std::string currentExceptionText();

}  // namespace cmhost
