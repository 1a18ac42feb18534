#include "host/cmhost/module/frame_gate.h"

#include <utility>

namespace cmhost {

FrameGate::FrameGate(QOR::RPtr<cm::OutputQueue> queue) : queue_(std::move(queue)) {}

FrameGate::~FrameGate() = default;

QOR::RPtr<FrameGate> FrameGate::create(QOR::RPtr<cm::OutputQueue> queue) {
  return {new FrameGate(std::move(queue))};
}

void FrameGate::setDescription(const QOR::RPtr<const QOR::CM::RDescription>& description) {
  queue_->setDescription(description);
}

void FrameGate::put(const QOR::RPtr<const QOR::CM::RFrame>& frame) {
  if (open_) {
    queue_->put(frame);
  } else {
    refused_ = true;
  }
}

}  // namespace cmhost
