#pragma once

#include <vector>

#include "host/cmhost/source.h"
#include "host/cmhost/support/av.h"

namespace cmhost {

/// Copies the names of the services of a transport stream: into a transport stream as services with
/// the same streams, into other containers as tags of the file. `indexes` has the number of the
/// output's stream for each stream of `source`; -1: left out.
void copyServices(const Source& source, const std::vector<int>& indexes, AVFormatContext& to);

}  // namespace cmhost
