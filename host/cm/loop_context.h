#pragma once

#include <functional>

#include "host/cm/frame_queue.h"
#include "lib/cm/CException.h"
#include "lib/cm/CMExport.h"
#include "lib/cm/object_refcount.h"

namespace cm {

/// The context that this host passes to the loop: the queue to wait for, and the handler of an
/// exception that ends the loop. The loop runs until the queue has ended and is empty.
class CM_API LoopContext final : public lumbase::object_refcount {
 public:
  using FailureHandler = std::function<void(const QOR::CException&)>;

  /// `onFailure` is called on the loop's thread, at most once.
  static QOR::RPtr<LoopContext> create(QOR::RPtr<InputQueue> input, FailureHandler onFailure);

  /// Waits until a frame is available (returns true) or the input has ended (false).
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
