#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "host/cm/filter_configuration.h"
#include "host/cm/frame_queue.h"
#include "host/cm/loop_context.h"
#include "host/cm/video_description.h"
#include "host/cmhost/converter.h"
#include "host/cmhost/encoder.h"
#include "host/cmhost/input.h"
#include "host/cmhost/module.h"
#include "host/cmhost/picture_layout.h"

namespace cmhost {

/// The threads of a run and the queues between them. The first failure of any thread ends them all.
class Pipeline {
 public:
  /// `first` is the first frame that `input` gave; every frame that follows is like it. `converter`
  /// may be null.
  Pipeline(Input& input, FramePtr first, Converter* converter, const PictureLayout& layout,
           QOR::CM::RFilter& filter);

  /// Ends the threads.
  ~Pipeline();

  Pipeline(const Pipeline&) = delete;
  Pipeline& operator=(const Pipeline&) = delete;

  /// Starts the component's thread and configures the component on it. Throws `Failure` with the
  /// component's own message.
  void configure();

  /// Starts decoding and encoding and returns when every frame is encoded. `watch` is called from
  /// time to time with the number of frames encoded so far. Throws the first `Failure`.
  void run(Muxer& muxer, Encoder& encoder, const std::function<void(std::int64_t)>& watch);

  std::int64_t framesEncoded() const { return encoded_; }

 private:
  void start(void (Pipeline::*body)());
  void stop();
  void endQueues();
  void componentThread();
  void decodingThread();
  void encodingThread();
  void fail(std::exception_ptr failure);
  void checkLike(const AVFrame& frame) const;

  Input& input_;
  FramePtr first_;
  Converter* const converter_;
  const PictureLayout& layout_;
  QOR::CM::RFilter& filter_;
  const int width_;
  const int height_;
  const int format_;
  Encoder* encoder_ = nullptr;

  QOR::RPtr<cm::InputQueue> inputQueue_;
  QOR::RPtr<cm::OutputQueue> outputQueue_;
  std::atomic<std::int64_t> encoded_{0};

  std::mutex mutex_;
  std::condition_variable changed_;
  bool configured_ = false;
  bool finished_ = false;
  std::exception_ptr failure_;
  std::vector<std::thread> threads_;
};

}  // namespace cmhost
