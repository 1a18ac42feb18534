#pragma once

/// The contract between a media-processing host and the components that it loads. These headers
/// declare; the host's library defines. A module is built against them, leaves the host's names
/// undefined and finds them in the process that loads it.
///
/// Life of a component, as the host keeps it:
///   1. load the module, look up its C function `getComponentInstance` (no arguments) and call it;
///      the host owns the component it returns and ends it with `delete`;
///   2. give it its queue ends (`addInputReader`, `addOutputWriter`); the input queue already has
///      its description;
///   3. `configure`, once; an exception ends the component's life;
///   4. `process()`, again and again, from one loop thread, one call at a time;
///   5. `flush` when the stream ends; then destroy the component and, after it, unload the module.

#include <vector>

#include "lib/cm/CException.h"
#include "lib/cm/CMExport.h"
#include "lib/cm/CString.h"
#include "lib/cm/RConfiguration.h"
#include "lib/cm/RDescription.h"
#include "lib/cm/RFrame.h"
#include "lib/cm/RPtr.h"
#include "lib/cm/RQFrame.h"
#include "lib/cm/object_refcount.h"

namespace QOR {

/// What a host call reports: 0 is success.
using Result = int;

namespace CM {

/// The state of a component; default-constructed it says that nothing is wrong.
class CM_API CComponentStatus {
 public:
  CComponentStatus() = default;
};

/// A message from the host to its components; the host alone knows what is in it.
class CNotification;

/// What every component is. The order of the virtual functions is part of the contract: a module
/// and a host that were built apart meet through it.
class CM_API RComponent {
 public:
  RComponent(const RComponent&) = delete;
  RComponent& operator=(const RComponent&) = delete;
  virtual ~RComponent();

  /// Called by the host with an exception that left the component while its loop ran.
  virtual void handleException(const CException& exception);

  /// FourCC of the kind of component.
  virtual unsigned int type() const = 0;

  virtual CComponentStatus getStatus() { return CComponentStatus(); }

  /// Called before the host resets the component's queues.
  virtual void componentWillReset();

  virtual void handleNotification(CNotification& notification);

  /// Whether the component runs on the host's hardware pipeline; the default is no.
  virtual bool isVPLComponent();

  /// One step: takes at most one item from the input and puts what comes of it on the output.
  /// Returns whether there was anything to do.
  virtual bool process() = 0;

  /// One step on a frame given by the host rather than by a queue.
  virtual bool process(RPtr<RFrame> frame) = 0;

  /// Called when the stream ends: puts what the component still holds on its output.
  virtual void flush() = 0;

 protected:
  RComponent();
};

/// By what the host's thread starter holds a component.
class CM_API RThreadRunner {
 public:
  RThreadRunner(const RThreadRunner&) = delete;
  RThreadRunner& operator=(const RThreadRunner&) = delete;
  virtual ~RThreadRunner();

  virtual void handleException(const CException& exception) = 0;
  virtual void threadrunloop(lumbase::object_refcount* context) = 0;

 protected:
  RThreadRunner();
};

/// Base of components that work between queues: it holds their ends and the loop.
class CM_API CMMultipleQueueComponent : public RComponent, public RThreadRunner {
 public:
  CMMultipleQueueComponent();
  ~CMMultipleQueueComponent() override;

  void handleException(const CException& exception) override;

  using RComponent::process;
  bool process(RPtr<RFrame>) override {
    throw CException(
        "QOR::CException", 256, "lib/cm/CMComponent",
        "virtual bool QOR::CM::CMMultipleQueueComponent::process(RPtr<QOR::CM::RFrame>)",
        CString::createWithFormat("process(CMFrame) not implemented!"));
  }

  /// How many worker threads the component asks for beside the loop's own.
  virtual unsigned int numSimpleThreads() { return 0; }

  /// `runloop` for a thread of its own: what it throws goes to `handleException`. `context` is the
  /// host's own; see `runloop`.
  void threadrunloop(lumbase::object_refcount* context) override;

  /// The host's loop: calls `process()`, one call at a time, until the host ends the loop, then
  /// `flush`. `context` is how the host tells its loop to wait, go on or end.
  virtual void runloop(lumbase::object_refcount* context);

  /// Gives the component its queue ends, in order; the host calls these before `configure`.
  void addInputReader(const RPtr<RQFrameReader>& reader);
  void addOutputWriter(const RPtr<RQFrameWriter>& writer);

 protected:
  /// The queue ends, in the order in which the host added them.
  const std::vector<RPtr<RQFrameReader>>& inputReaders() const;
  const std::vector<RPtr<RQFrameWriter>>& outputWriters() const;

 private:
  std::vector<RPtr<RQFrameReader>> inputReaders_;
  std::vector<RPtr<RQFrameWriter>> outputWriters_;
};

/// A component that takes a stream and gives a stream.
class CM_API RFilter : public CMMultipleQueueComponent {
 public:
  RFilter();
  ~RFilter() override;

  unsigned int type() const override { return 0x666c7472; }  // 'fltr'

  /// Prepares the component for the stream that its first reader describes. Returns 0; throws
  /// `QOR::CException` when stream and configuration are not to its liking.
  virtual Result configure(RFilterConfiguration& config) = 0;
};

}  // namespace CM
}  // namespace QOR
