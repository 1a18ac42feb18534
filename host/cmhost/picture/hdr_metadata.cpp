#include "host/cmhost/picture/hdr_metadata.h"

#include <algorithm>
#include <iterator>

namespace cmhost {

namespace {

constexpr AVPacketSideDataType ofStreams[] = {
    AV_PKT_DATA_MASTERING_DISPLAY_METADATA,
    AV_PKT_DATA_CONTENT_LIGHT_LEVEL,
    AV_PKT_DATA_DYNAMIC_HDR10_PLUS,
    AV_PKT_DATA_DOVI_CONF,
};

constexpr AVFrameSideDataType ofFrames[] = {
    AV_FRAME_DATA_MASTERING_DISPLAY_METADATA,
    AV_FRAME_DATA_CONTENT_LIGHT_LEVEL,
    AV_FRAME_DATA_DYNAMIC_HDR_PLUS,
    AV_FRAME_DATA_DYNAMIC_HDR_VIVID,
    AV_FRAME_DATA_DOVI_RPU_BUFFER,
    AV_FRAME_DATA_DOVI_METADATA,
};

}  // namespace

bool isHdrMetadata(AVPacketSideDataType type) {
  return std::find(std::begin(ofStreams), std::end(ofStreams), type) != std::end(ofStreams);
}

bool hasHdrMetadata(const AVStream& stream, const AVFrame& frame) {
  const StreamSideData all = sideDataOf(stream);
  return std::any_of(all.data, all.data + all.count,
                     [](const AVPacketSideData& each) { return isHdrMetadata(each.type); }) ||
         std::any_of(std::begin(ofFrames), std::end(ofFrames), [&frame](AVFrameSideDataType type) {
           return av_frame_get_side_data(&frame, type) != nullptr;
         });
}

void removeHdrMetadata(AVFrame& frame) {
  for (const AVFrameSideDataType type : ofFrames) av_frame_remove_side_data(&frame, type);
}

}  // namespace cmhost
