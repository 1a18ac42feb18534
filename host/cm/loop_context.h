#pragma once

#include <functional>

#include "host/cm/frame_queue.h"
#include "lib/cm/CException.h"
#include "lib/cm/CMExport.h"
#include "lib/cm/object_refcount.h"

namespace cm {

/// What this host gives its loop as context: the queue to wait at, and whom to tell when an
/// exception ended the loop. The loop goes on while the queue has frames and ends with it.
class CM_API LoopContext final : public lumbase::object_refcount {
 public:
  using FailureHandler = std::function<void(const QOR::CException&)>;

  /// `onFailure` is called on the loop's thread, at most once.
  static QOR::RPtr<LoopContext> create(QOR::RPtr<InputQueue> input, FailureHandler onFailure);

  /// Blocks until a frame is there (true) or none will come any more (false).
  bool waitForInput() { return input_->frames().waitForItem(); }

  bool inputIsWaiting() const { return input_->frames().size() != 0; }

  void fail(const QOR::CException& exception) { onFailure_(exception); }

 private:
  LoopContext(QOR::RPtr<InputQueue> input, FailureHandler onFailure);
  ~LoopContext() override;

  QOR::RPtr<InputQueue> input_;
  FailureHandler onFailure_;
};

}  // namespace cm
