#include "host/cmhost/pipeline.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "host/cm/video_description.h"
#include "host/cmhost/picture/frame_packing.h"
#include "host/cmhost/support/failure.h"
#include "host/cmhost/support/memory_cap.h"
#include "host/cmhost/support/messages.h"
#include "host/cmhost/support/threads.h"

namespace cmhost {

namespace {

// Each thread works on one frame while the next one waits. More frames cost memory and leave the
// cache, which is slower.
constexpr std::size_t queuedFrames = 1;

// Memory that a module may allocate while it is configured. The frame size comes from the input and
// may be huge.
std::int64_t configuringBytes(int width, int height) {
  constexpr std::int64_t bytesPerPixel = 32;
  constexpr std::int64_t leastBytes = std::int64_t{256} << 20;
  return leastBytes + bytesPerPixel * width * height;
}

constexpr auto watchInterval = std::chrono::milliseconds(200);

}  // namespace

Pipeline::Pipeline(Input& input, FrameSource& frames, Module& module, Mode mode)
    : input_(input), frames_(frames), layout_(frames.layout()), module_(module), mode_(mode) {
  const AVFrame& like = frames.first();
  inputQueue_ =
      cm::InputQueue::create(cm::VideoDescription::create(static_cast<unsigned int>(like.width),
                                                          static_cast<unsigned int>(like.height)),
                             queuedFrames);
  outputQueue_ = cm::OutputQueue::create(queuedFrames);
  threads_.reserve(3);
  module_.connect(inputQueue_, outputQueue_);
}

Pipeline::~Pipeline() { stop(); }

void Pipeline::stop() {
  endQueues();
  for (std::thread& thread : threads_) thread.join();
  threads_.clear();
}

void Pipeline::endQueues() {
  input_.interrupt();
  inputQueue_->frames().abandon();
  outputQueue_->frames().abandon();
}

void Pipeline::start(void (Pipeline::*body)()) {
  threads_.push_back(startThread([this, body] {
    try {
      (this->*body)();
    } catch (...) {
      fail(std::current_exception());
    }
  }));
}

void Pipeline::fail(std::exception_ptr failure) {
  Output* output = nullptr;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (failure_ == nullptr) failure_ = std::move(failure);
    output = output_;
    changed_.notify_all();
  }
  endQueues();
  if (output != nullptr) output->abandon();
}

void Pipeline::configure(ConfigurationKeys keys) {
  keys_ = std::move(keys);
  start(&Pipeline::componentThread);
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait(lock, [this] { return configured_ || failure_ != nullptr; });
  if (failure_ != nullptr) std::rethrow_exception(failure_);
}

void Pipeline::componentThread() {
  {
    const AVFrame& like = frames_.first();  // decoding has not begun
    const MemoryCap cap(configuringBytes(like.width, like.height));
    module_.configure(keys_);
  }
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    configured_ = true;
    changed_.notify_all();
  }
  module_.runLoop();
}

void Pipeline::run(Output& output, const std::function<void()>& watch) {
  began_ = std::chrono::steady_clock::now();
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (failure_ != nullptr) std::rethrow_exception(failure_);
    output_ = &output;
  }
  try {
    input_.others().sendTo([&output](AVPacket& packet) { output.putOther(packet); });
    start(&Pipeline::encodingThread);
    start(&Pipeline::decodingThread);
    waitForEnd(watch);
  } catch (...) {
    fail(std::current_exception());
  }
  stop();  // no thread may use the output after this
  if (failure_ == nullptr) failure_ = damage_;
  if (failure_ != nullptr) std::rethrow_exception(failure_);
  watch();
}

void Pipeline::waitForEnd(const std::function<void()>& watch) {
  std::unique_lock<std::mutex> lock(mutex_);
  const auto ended = [this] { return finished_ || failure_ != nullptr; };
  while (!changed_.wait_for(lock, watchInterval, ended)) {
    lock.unlock();
    watch();
    lock.lock();
  }
}

Pipeline::Shares Pipeline::busyShares() const {
  const std::chrono::duration<double> all = std::chrono::steady_clock::now() - began_;
  const auto busy = [&all](std::chrono::duration<double> waited) {
    return std::clamp(1 - waited / all, 0.0, 1.0);
  };
  return {busy(inputQueue_->frames().waitedForRoom()),
          busy(inputQueue_->frames().waitedForItems() + outputQueue_->frames().waitedForRoom()),
          busy(outputQueue_->frames().waitedForItems())};
}

void Pipeline::decodingThread() {
  try {
    while (FramePtr frame = frames_.next()) {
      if (!inputQueue_->frames().put(
              packFrame(std::move(frame), layout_, framesGiven_, mode_.keepOriginals, pictures_)))
        return;
      ++framesGiven_;
    }
  } catch (const Failure&) {
    if (!mode_.finishAfterDamage) throw;
    const std::lock_guard<std::mutex> lock(mutex_);
    damage_ = std::current_exception();
  }
  inputQueue_->frames().finish();
}

void Pipeline::encodingThread() {
  while (const auto put = outputQueue_->frames().take()) {
    FramePtr frame = unpack(put->get());
    output_->put(std::move(frame), decodedFrameOf(**put));
  }
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (failure_ != nullptr) return;
  }
  if (framesPut_ == 0 && framesGiven_ > 0)
    module_.fail("the module returned none of the " + framesText(framesGiven_));
  output_->endFrames();
  const std::lock_guard<std::mutex> lock(mutex_);
  finished_ = true;
  changed_.notify_all();
}

// The module must return each frame once and in order: containers store frames in order.
FramePtr Pipeline::unpack(const QOR::CM::RFrame* put) {
  FramePtr frame;
  try {
    frame = unpackFrame(put, layout_);
  } catch (const Failure& failure) {
    throw Failure(module_.path() + ": " + failure.what());
  }
  const std::int64_t number = frameNumberOf(*put);
  if (number == lastPut_)
    module_.fail("the module returned frame " + std::to_string(number) + " twice");
  if (number < lastPut_)
    module_.fail("the module returned frame " + std::to_string(number) + " after frame " +
                 std::to_string(lastPut_));
  lastPut_ = number;
  ++framesPut_;
  return frame;
}

}  // namespace cmhost
