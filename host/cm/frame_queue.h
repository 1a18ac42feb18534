#pragma once

#include <cstddef>

#include "host/cm/bounded_queue.h"
#include "lib/cm/CMExport.h"
#include "lib/cm/RQFrame.h"

namespace cm {

/// The queue in front of a component. The component holds it as its reader; the host fills
/// `frames()` from another thread.
class CM_API InputQueue final : public QOR::CM::RQFrameReader {
 public:
  /// `capacity` frames may wait at a time.
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

/// The queue behind a component. The component holds it as its writer; the host empties `frames()`
/// from another thread. An empty pointer that a component puts travels through it like a frame, so
/// that the host sees it in its place.
class CM_API OutputQueue final : public QOR::CM::RQFrameWriter {
 public:
  /// `capacity` frames may wait at a time; `put` blocks beyond that.
  static QOR::RPtr<OutputQueue> create(std::size_t capacity);

  void setDescription(const QOR::RPtr<const QOR::CM::RDescription>& description) override;

  /// Once the queue has ended, the frame is dropped: the host's loop ends the component's work.
  void put(const QOR::RPtr<const QOR::CM::RFrame>& frame) override;

  /// What the component set in `configure`; empty before.
  const QOR::RPtr<const QOR::CM::RDescription>& description() const { return description_; }

  BoundedQueue<QOR::RPtr<const QOR::CM::RFrame>>& frames() { return frames_; }

 private:
  explicit OutputQueue(std::size_t capacity);
  ~OutputQueue() override;

  QOR::RPtr<const QOR::CM::RDescription> description_;
  BoundedQueue<QOR::RPtr<const QOR::CM::RFrame>> frames_;
};

}  // namespace cm
