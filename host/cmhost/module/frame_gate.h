#pragma once

#include <atomic>

#include "host/cm/frame_queue.h"

namespace cmhost {

/// The component's side of its output queue. Frames pass only while the component's loop runs.
/// Before that, nobody takes frames from the queue, and a component that fills it would wait for
/// ever; after that, nobody takes them any more.
class FrameGate final : public QOR::CM::RQFrameWriter {
 public:
  static QOR::RPtr<FrameGate> create(QOR::RPtr<cm::OutputQueue> queue);

  void setDescription(const QOR::RPtr<const QOR::CM::RDescription>& description) override;
  void put(const QOR::RPtr<const QOR::CM::RFrame>& frame) override;

  /// Called when the loop starts, and when it has ended.
  void open() { open_ = true; }
  void close() { open_ = false; }

  /// Whether frames were refused since the last call because the gate was closed. Any thread.
  bool refusedFrames() { return refused_.exchange(false); }

 private:
  explicit FrameGate(QOR::RPtr<cm::OutputQueue> queue);
  ~FrameGate() override;

  QOR::RPtr<cm::OutputQueue> queue_;
  std::atomic<bool> open_{false};
  std::atomic<bool> refused_{false};
};

}  // namespace cmhost
