#pragma once

#include <string>

namespace cmhost {

/// Describes the video encoders of this build: for each common container those that it can hold,
/// the default first, and for each encoder its options for quality and speed. Encoders that need
/// special hardware, and those that support no layout of the module, are left out.
std::string encoderList();

}  // namespace cmhost
