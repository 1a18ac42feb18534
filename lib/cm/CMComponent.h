#pragma once

/// The contract between a media-processing host and the components that it loads. These headers
/// contain the declarations; the host's library contains the definitions. A module is built against
/// the headers, leaves the host's names undefined and finds them in the process that loads it.
///
/// Life cycle of a component:
///   1. load the module, look up its C function `getComponentInstance` (no arguments) and call it;
///      the host owns the returned component and deletes it;
///   2. add its queue ends (`addInputReader`, `addOutputWriter`); the input queue already has its
///      description;
///   3. `configure`, once; after an exception the component is only deleted;
///   4. `process()`, repeatedly, from one loop thread, one call at a time;
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

/// The result of a call: 0 is success.
using Result = int;

namespace CM {

/// The state of a component; the default is no error.
class CM_API CComponentStatus {
 public:
  CComponentStatus() = default;
};

/// A message from the host to its components; only the host knows its contents.
class CNotification;

/// Base of all components. The order of the virtual functions is part of the contract, because
/// module and host are built separately.
class CM_API RComponent {
 public:
  RComponent(const RComponent&) = delete;
  RComponent& operator=(const RComponent&) = delete;
  virtual ~RComponent();

  /// Called by the host with an exception that left the component while its loop ran.
  virtual void handleException(const CException& exception);

  /// The kind of component, as a FourCC.
  virtual unsigned int type() const = 0;

  virtual CComponentStatus getStatus() { return CComponentStatus(); }

  /// Called before the host resets the component's queues.
  virtual void componentWillReset();

  virtual void handleNotification(CNotification& notification);

  /// Whether the component runs on the host's hardware pipeline; the default is no.
  virtual bool isVPLComponent();

  /// One step: takes at most one item from the input and puts the result on the output. Returns
  /// whether there was anything to do.
  virtual bool process() = 0;

  /// One step with a frame that the host passes directly instead of through a queue.
  virtual bool process(RPtr<RFrame> frame) = 0;

  /// Called when the stream ends: puts the frames that the component still holds on its output.
  virtual void flush() = 0;

 protected:
  RComponent();
};

/// The interface by which the host runs a component on a thread.
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

/// Base of components that work between queues: it has the queue ends and the loop.
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

  /// The number of worker threads that the component requests in addition to the loop's thread.
  virtual unsigned int numSimpleThreads() { return 0; }

  /// `runloop` for a separate thread: exceptions go to `handleException`. `context` belongs to the
  /// host; see `runloop`.
  void threadrunloop(lumbase::object_refcount* context) override;

  /// The host's loop: calls `process()`, one call at a time, until the host ends the loop, then
  /// `flush`. Through `context` the host tells its loop to wait, continue or end.
  virtual void runloop(lumbase::object_refcount* context);

  /// Add the component's queue ends, in order; the host calls these before `configure`.
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

/// A component with an input stream and an output stream.
class CM_API RFilter : public CMMultipleQueueComponent {
 public:
  RFilter();
  ~RFilter() override;

  unsigned int type() const override { return 0x666c7472; }  // 'fltr'

  /// Prepares the component for the stream that its first reader describes. Returns 0; throws
  /// `QOR::CException` if it does not support the stream or the configuration.
  virtual Result configure(RFilterConfiguration& config) = 0;
};

}  // namespace CM
}  // namespace QOR
