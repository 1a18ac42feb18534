#include "host/cmhost/pipeline.h"

#include <chrono>
#include <utility>

extern "C" {
#include <libavutil/pixdesc.h>
}

#include "host/cmhost/failure.h"
#include "host/cmhost/frame_packing.h"
#include "host/cmhost/messages.h"

namespace cmhost {

namespace {

// Enough that no side waits for a thread switch; every queued frame costs its memory.
constexpr std::size_t queuedFrames = 4;
constexpr auto watchInterval = std::chrono::milliseconds(200);

std::string formatText(int width, int height, int format) {
  const char* const name = av_get_pix_fmt_name(static_cast<AVPixelFormat>(format));
  return std::to_string(width) + "x" + std::to_string(height) + " " +
         (name != nullptr ? name : "?");
}

}  // namespace

Pipeline::Pipeline(Input& input, FramePtr first, Converter* converter, const PictureLayout& layout,
                   QOR::CM::RFilter& filter)
    : input_(input),
      first_(std::move(first)),
      converter_(converter),
      layout_(layout),
      filter_(filter),
      width_(first_->width),
      height_(first_->height),
      format_(first_->format),
      inputQueue_(
          cm::InputQueue::create(cm::VideoDescription::create(static_cast<unsigned int>(width_),
                                                              static_cast<unsigned int>(height_)),
                                 queuedFrames)),
      outputQueue_(cm::OutputQueue::create(queuedFrames)) {
  filter_.addInputReader(inputQueue_);
  filter_.addOutputWriter(outputQueue_);
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
  threads_.emplace_back([this, body] {
    try {
      (this->*body)();
    } catch (...) {
      fail(std::current_exception());
    }
  });
}

void Pipeline::fail(std::exception_ptr failure) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (failure_ == nullptr) failure_ = std::move(failure);
    changed_.notify_all();
  }
  endQueues();
}

void Pipeline::configure() {
  start(&Pipeline::componentThread);
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait(lock, [this] { return configured_ || failure_ != nullptr; });
  if (failure_ != nullptr) std::rethrow_exception(failure_);
}

void Pipeline::componentThread() {
  const auto configuration = cm::FilterConfiguration::create();
  configuration->setFourCC("system_informat", layout_.fourcc);
  try {
    const QOR::Result result = filter_.configure(*configuration);
    if (result != 0)
      throw Failure("the module refuses to be configured: result " + std::to_string(result));
  } catch (const Failure&) {
    throw;
  } catch (const std::exception& exception) {
    // Told in words: the exception itself must not outlive the module it came from.
    throw Failure(std::string("the module cannot be configured: ") + exception.what());
  } catch (...) {
    throw Failure("the module cannot be configured: an exception of an unknown kind");
  }
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    configured_ = true;
    changed_.notify_all();
  }
  const auto context =
      cm::LoopContext::create(inputQueue_, [this](const QOR::CException& exception) {
        fail(std::make_exception_ptr(
            Failure(std::string("the module failed: ") + exception.message())));
      });
  filter_.threadrunloop(context.get());
  outputQueue_->frames().finish();
}

void Pipeline::run(Muxer& muxer, Encoder& encoder, const std::function<void(std::int64_t)>& watch) {
  encoder_ = &encoder;
  input_.sendOtherPacketsTo([&muxer](AVPacket& packet) { muxer.writeCopy(packet); });
  start(&Pipeline::encodingThread);
  start(&Pipeline::decodingThread);
  std::unique_lock<std::mutex> lock(mutex_);
  const auto ended = [this] { return finished_ || failure_ != nullptr; };
  while (!changed_.wait_for(lock, watchInterval, ended)) {
    lock.unlock();
    watch(encoded_);
    lock.lock();
  }
  lock.unlock();
  stop();  // no thread may use the muxer or the encoder after this
  if (failure_ != nullptr) std::rethrow_exception(failure_);
  watch(encoded_);
}

void Pipeline::checkLike(const AVFrame& frame) const {
  if (frame.width == width_ && frame.height == height_ && frame.format == format_) return;
  throw Failure(input_.path() + ": the picture changes from " +
                formatText(width_, height_, format_) + " to " +
                formatText(frame.width, frame.height, frame.format) + " at frame " +
                std::to_string(input_.decodedFrames()) + ", " +
                secondsText(static_cast<double>(frame.pts) * av_q2d(input_.video().time_base)) +
                "; split the video there and mark the parts");
}

void Pipeline::decodingThread() {
  for (FramePtr frame = std::move(first_); frame != nullptr; frame = input_.nextFrame()) {
    checkLike(*frame);
    if (converter_ != nullptr) frame = converter_->convert(*frame);
    if (!inputQueue_->frames().put(packFrame(std::move(frame), layout_))) return;
  }
  inputQueue_->frames().finish();
}

void Pipeline::encodingThread() {
  while (const auto put = outputQueue_->frames().take()) {
    encoder_->encode(unpackFrame(put->get(), layout_));
    ++encoded_;
  }
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (failure_ != nullptr) return;
  }
  encoder_->finish();
  const std::lock_guard<std::mutex> lock(mutex_);
  finished_ = true;
  changed_.notify_all();
}

}  // namespace cmhost
