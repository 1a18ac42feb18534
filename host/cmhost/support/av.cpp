#include "host/cmhost/support/av.h"

#include <new>

namespace cmhost {

FramePtr emptyFrameLike(const AVFrame& like) {
  FramePtr frame = newFrame();
  if (av_frame_copy_props(frame.get(), &like) < 0) throw std::bad_alloc();
  frame->format = like.format;
  frame->width = like.width;
  frame->height = like.height;
  return frame;
}

void allocatePicture(AVFrame& frame) {
  if (av_frame_get_buffer(&frame, 0) < 0) throw std::bad_alloc();
}

}  // namespace cmhost
