#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "host/cm/frame_queue.h"
#include "host/cm/picture_pool.h"
#include "host/cmhost/frame_source.h"
#include "host/cmhost/input/input.h"
#include "host/cmhost/module/module.h"
#include "host/cmhost/output/output.h"
#include "host/cmhost/picture/picture_layout.h"

namespace cmhost {

/// The threads of a run and the queues between them. The first failure of any thread ends them all.
class Pipeline {
 public:
  struct Mode {
    bool finishAfterDamage;  ///< frames from before a failure of the input are still finished
    bool keepOriginals;      ///< the output gets the unmarked pictures too
  };

  /// None of the arguments is copied; all must live longer. `frames` must still hold its first.
  Pipeline(Input& input, FrameSource& frames, Module& module, Mode mode);

  /// Ends the threads.
  ~Pipeline();

  Pipeline(const Pipeline&) = delete;
  Pipeline& operator=(const Pipeline&) = delete;

  /// Starts the component's thread and configures the component on it. Throws `Failure` with the
  /// component's own message.
  void configure(ConfigurationKeys keys);

  /// Starts decoding and encoding and returns when every frame has gone to `output`. `watch` is
  /// called from time to time. Throws the first `Failure`. Then, too, no thread uses `output` any
  /// more.
  void run(Output& output, const std::function<void()>& watch);

  /// Frames that the component was given and that it put, when `run` has returned.
  std::int64_t framesGiven() const { return framesGiven_; }
  std::int64_t framesPut() const { return framesPut_; }

  /// Which part of the time since `run` began each thread was at work and not waiting for another.
  struct Shares {
    double reading;
    double component;
    double writing;
  };
  Shares busyShares() const;

 private:
  void start(void (Pipeline::*body)());
  void stop();
  void endQueues();
  void componentThread();
  void decodingThread();
  void encodingThread();
  FramePtr unpack(const QOR::CM::RFrame* put);
  void waitForEnd(const std::function<void()>& watch);
  void fail(std::exception_ptr failure);

  Input& input_;
  FrameSource& frames_;
  const PictureLayout& layout_;
  Module& module_;
  const Mode mode_;
  ConfigurationKeys keys_;
  std::chrono::steady_clock::time_point began_;

  const std::shared_ptr<cm::PicturePool> pictures_ = cm::PicturePool::create();
  QOR::RPtr<cm::InputQueue> inputQueue_;
  QOR::RPtr<cm::OutputQueue> outputQueue_;

  std::int64_t framesGiven_ = 0;  ///< of the decoding thread
  std::int64_t framesPut_ = 0;    ///< of the encoding thread
  std::int64_t lastPut_ = -1;     ///< number of the frame

  std::mutex mutex_;
  std::condition_variable changed_;
  Output* output_ = nullptr;
  bool configured_ = false;
  bool finished_ = false;
  std::exception_ptr failure_;
  std::exception_ptr damage_;  ///< of the input, to be told when its frames are finished
  std::vector<std::thread> threads_;
};

}  // namespace cmhost
