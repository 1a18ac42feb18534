#pragma once

#include <string>

namespace cmhost {

/// The message of the exception that is being handled, or its type if it has no message. Call it in
/// a `catch` block.
std::string currentExceptionText();

}  // namespace cmhost
