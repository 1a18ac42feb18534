#include "video/resize/qor_resize.h"

#include <memory>

#include "signal/processor_variant.h"
#include "video/resize/video_resize_impl.h"

namespace ns_video_resize {

qor_resize* qor_resize::create(colorspace space) {
  std::unique_ptr<qor_resize> object;
  if (space == yuv422_16 || space == yuv444_16) {
    object = std::make_unique<video_resize_impl<unsigned short>>();
  } else {
    object = std::make_unique<video_resize_impl<unsigned char>>();
  }
  ippStaticInit();
  return object.release();
}

void qor_resize::destroy(qor_resize* object) { delete object; }

}  // namespace ns_video_resize
