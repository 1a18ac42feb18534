#include "host/cm/frame_queue.h"

#include <utility>

namespace cm {

InputQueue::InputQueue(QOR::RPtr<QOR::CM::RDescription> description, std::size_t capacity)
    : description_(std::move(description)), frames_(capacity) {}

InputQueue::~InputQueue() = default;

QOR::RPtr<InputQueue> InputQueue::create(QOR::RPtr<QOR::CM::RDescription> description,
                                         std::size_t capacity) {
  return {new InputQueue(std::move(description), capacity)};
}

QOR::RPtr<QOR::CM::RVideoFrame> InputQueue::nextFrame() {
  return frames_.tryTake().value_or(QOR::RPtr<QOR::CM::RVideoFrame>());
}

OutputQueue::OutputQueue(std::size_t capacity) : frames_(capacity) {}

OutputQueue::~OutputQueue() = default;

QOR::RPtr<OutputQueue> OutputQueue::create(std::size_t capacity) {
  return {new OutputQueue(capacity)};
}

void OutputQueue::setDescription(const QOR::RPtr<const QOR::CM::RDescription>& description) {
  description_ = description;
}

void OutputQueue::put(const QOR::RPtr<const QOR::CM::RFrame>& frame) { frames_.put(frame); }

}  // namespace cm
