#pragma once

#include <cstddef>

#include "host/cm/bounded_queue.h"
#include "lib/cm/CMExport.h"
#include "lib/cm/RQFrame.h"

namespace cm {

/// The input queue of a component. The component uses it as its reader; the host fills `frames()`
/// from another thread.
class CM_API InputQueue final : public QOR::CM::RQFrameReader {
 public:
  /// The queue holds up to `capacity` frames.
  static QOR::RPtr<InputQueue> create(QOR::RPtr<QOR::CM::RDescription> description,
                                      std::size_t capacity);

  QOR::RPtr<QOR::CM::RDescription> getDescription() override { return description_; }
  QOR::RPtr<QOR::CM::RVideoFrame> nextFrame() override;

  BoundedQueue<QOR::RPtr<QOR::CM::RVideoFrame>>& frames() { return frames_; }

 private:
  InputQueue(QOR::RPtr<QOR::CM::RDescription> description, std::size_t capacity);
  ~InputQueue() override;

  QOR::RPtr<QOR::CM::RDescription> description_;
  BoundedQueue<QOR::RPtr<QOR::CM::RVideoFrame>> frames_;
};

/// The output queue of a component. The component uses it as its writer; the host empties
/// `frames()` from another thread. A null pointer put by a component is queued like a frame, so
/// that the host gets it in order.
class CM_API OutputQueue final : public QOR::CM::RQFrameWriter {
 public:
  /// The queue holds up to `capacity` frames; `put` blocks while it is full.
  static QOR::RPtr<OutputQueue> create(std::size_t capacity);

  void setDescription(const QOR::RPtr<const QOR::CM::RDescription>& description) override;

  /// Drops the frame once the queue has ended: the host's loop then stops the component.
  void put(const QOR::RPtr<const QOR::CM::RFrame>& frame) override;

  /// The description that the component set in `configure`; null before.
  const QOR::RPtr<const QOR::CM::RDescription>& description() const { return description_; }

  BoundedQueue<QOR::RPtr<const QOR::CM::RFrame>>& frames() { return frames_; }

 private:
  explicit OutputQueue(std::size_t capacity);
  ~OutputQueue() override;

  QOR::RPtr<const QOR::CM::RDescription> description_;
  BoundedQueue<QOR::RPtr<const QOR::CM::RFrame>> frames_;
};

}  // namespace cm
