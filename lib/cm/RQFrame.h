#pragma once

#include "lib/cm/CMExport.h"
#include "lib/cm/RDescription.h"
#include "lib/cm/RFrame.h"
#include "lib/cm/RPtr.h"
#include "lib/cm/object_refcount.h"

namespace QOR::CM {

/// The end of a frame queue from which a component takes its input. A component calls it only from
/// the host's loop, one call at a time; the host may fill the other end from any thread.
class CM_API RQFrameReader : public lumbase::object_refcount {
 public:
  /// The description of the stream; available before `configure` is called.
  virtual RPtr<RDescription> getDescription() = 0;

  /// Takes the next video frame from the queue, or returns a null pointer at once if none is
  /// waiting.
  virtual RPtr<RVideoFrame> nextFrame() = 0;

 protected:
  RQFrameReader();
  ~RQFrameReader() override;
};

/// The end of a frame queue on which a component puts its output. A component calls it only from
/// the host's loop, one call at a time; the host may empty the other end from any thread.
class CM_API RQFrameWriter : public lumbase::object_refcount {
 public:
  /// Sets the description of the stream. Called in `configure`, before the first frame.
  virtual void setDescription(const RPtr<const RDescription>& description) = 0;

  /// Queues a frame and retains it; may block while the queue is full. A null pointer is accepted:
  /// it stands for a frame that the host could not make.
  virtual void put(const RPtr<const RFrame>& frame) = 0;

 protected:
  RQFrameWriter();
  ~RQFrameWriter() override;
};

}  // namespace QOR::CM
