// The contract's abstract classes. Their vtables and type information are in the host's library, so
// that module and host use the same classes.
#include "lib/cm/RConfiguration.h"
#include "lib/cm/RDescription.h"
#include "lib/cm/RFrame.h"
#include "lib/cm/RQFrame.h"

namespace QOR::CM {

RDescription::RDescription() = default;
RDescription::~RDescription() = default;

RFrame::RFrame() = default;
RFrame::~RFrame() = default;

RVideoFrame::RVideoFrame() = default;
RVideoFrame::~RVideoFrame() = default;

RQFrameReader::RQFrameReader() = default;
RQFrameReader::~RQFrameReader() = default;

RQFrameWriter::RQFrameWriter() = default;
RQFrameWriter::~RQFrameWriter() = default;

RComponentConfiguration::RComponentConfiguration() = default;
RComponentConfiguration::~RComponentConfiguration() = default;

RFilterConfiguration::RFilterConfiguration() = default;
RFilterConfiguration::~RFilterConfiguration() = default;

}  // namespace QOR::CM
