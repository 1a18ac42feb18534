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

/// The threads of a run and the queues between them. A failure in any thread stops all of them.
class Pipeline {
 public:
  struct Mode {
    bool finishAfterDamage;  ///< after an input error, finish the frames decoded so far
    bool keepOriginals;      ///< pass the unfiltered frames to the output as well
  };

  /// Keeps references to all arguments, which must outlive it. The first frame of `frames` must not
  /// have been taken yet.
  Pipeline(Input& input, FrameSource& frames, Module& module, Mode mode);

  /// Stops the threads.
  ~Pipeline();

  Pipeline(const Pipeline&) = delete;
  Pipeline& operator=(const Pipeline&) = delete;

  /// Starts the component's thread and configures the component on it. Throws `Failure` with the
  /// component's own message.
  void configure(ConfigurationKeys keys);

  /// Starts decoding and encoding. Returns when all frames have been passed to `output`. Calls
  /// `watch` periodically. Throws the first `Failure`. When it returns or throws, no thread uses
  /// `output` any more.
  void run(Output& output, const std::function<void()>& watch);

  /// The number of frames passed to the component and returned by it. Valid after `run`.
  std::int64_t framesGiven() const { return framesGiven_; }
  std::int64_t framesPut() const { return framesPut_; }

  /// The fraction of the time since the start of `run` during which each thread was busy, not
  /// waiting for another thread.
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

  std::int64_t framesGiven_ = 0;  ///< used by the decoding thread
  std::int64_t framesPut_ = 0;    ///< used by the encoding thread
  std::int64_t lastPut_ = -1;     ///< number of the frame

  std::mutex mutex_;
  std::condition_variable changed_;
  Output* output_ = nullptr;
  bool configured_ = false;
  bool finished_ = false;
  std::exception_ptr failure_;
  std::exception_ptr damage_;  ///< input error, reported after the remaining frames
  std::vector<std::thread> threads_;
};

}  // namespace cmhost
