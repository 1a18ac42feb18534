#include "host/cmhost/picture/frame_fitter.h"

namespace cmhost {

FramePtr FrameFitter::fit(const AVFrame& frame) {
  scaler_.reset(sws_getCachedContext(scaler_.release(), frame.width, frame.height,
                                     static_cast<AVPixelFormat>(frame.format), width_, height_,
                                     format_, SWS_BICUBIC | SWS_ACCURATE_RND | SWS_BITEXACT,
                                     nullptr, nullptr, nullptr));
  if (scaler_ == nullptr) return nullptr;
  FramePtr result = emptyFrameLike(frame);
  result->width = width_;
  result->height = height_;
  result->format = format_;
  result->crop_left = result->crop_right = result->crop_top = result->crop_bottom = 0;
  allocatePicture(*result);
  sws_scale(scaler_.get(), frame.data, frame.linesize, 0, frame.height, result->data,
            result->linesize);
  return result;
}

}  // namespace cmhost
