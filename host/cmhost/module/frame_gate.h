#pragma once

#include <atomic>

#include "host/cm/frame_queue.h"

namespace cmhost {

/// The end of a component's output that the component sees: frames pass to the queue only while the
/// component's loop runs. A component that puts some before that would wait for ever once the queue
/// is full, since nobody takes them yet; after it, nobody takes them any more.
class FrameGate final : public QOR::CM::RQFrameWriter {
 public:
  static QOR::RPtr<FrameGate> create(QOR::RPtr<cm::OutputQueue> queue);

  void setDescription(const QOR::RPtr<const QOR::CM::RDescription>& description) override;
  void put(const QOR::RPtr<const QOR::CM::RFrame>& frame) override;

  /// The loop begins, or has ended.
  void open() { open_ = true; }
  void close() { open_ = false; }

  /// Whether frames came since the last call while it was closed. Any thread.
  bool refusedFrames() { return refused_.exchange(false); }

 private:
  explicit FrameGate(QOR::RPtr<cm::OutputQueue> queue);
  ~FrameGate() override;

  QOR::RPtr<cm::OutputQueue> queue_;
  std::atomic<bool> open_{false};
  std::atomic<bool> refused_{false};
};

}  // namespace cmhost
