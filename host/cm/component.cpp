#include <exception>

#include "host/cm/loop_context.h"
#include "lib/cm/CMComponent.h"

namespace QOR::CM {

RComponent::RComponent() = default;
RComponent::~RComponent() = default;
void RComponent::handleException(const CException& /*exception*/) {}
void RComponent::componentWillReset() {}
void RComponent::handleNotification(CNotification& /*notification*/) {}
bool RComponent::isVPLComponent() { return false; }

RThreadRunner::RThreadRunner() = default;
RThreadRunner::~RThreadRunner() = default;

CMMultipleQueueComponent::CMMultipleQueueComponent() = default;
CMMultipleQueueComponent::~CMMultipleQueueComponent() = default;

void CMMultipleQueueComponent::handleException(const CException& exception) {
  RComponent::handleException(exception);
}

namespace {

CException loopException(const char* name, int line, const char* message) {
  return CException(name, line, __FILE__, "CMMultipleQueueComponent::runloop",
                    CString::createWithFormat("%s", message != nullptr ? message : ""));
}

}  // namespace

void CMMultipleQueueComponent::threadrunloop(lumbase::object_refcount* context) {
  auto* const loop = dynamic_cast<cm::LoopContext*>(context);
  const auto report = [&](const CException& exception) {
    if (loop != nullptr) loop->fail(exception);  // first, because the component's handler may fail
    handleException(exception);
  };
  try {
    runloop(context);
  } catch (const CException& exception) {
    report(exception);
  } catch (const std::exception& exception) {
    report(loopException("std::exception", __LINE__, exception.what()));
  } catch (...) {
    report(loopException("unknown", __LINE__, "unknown exception"));
  }
}

void CMMultipleQueueComponent::runloop(lumbase::object_refcount* context) {
  auto* const loop = dynamic_cast<cm::LoopContext*>(context);
  if (loop == nullptr)
    throw loopException("QOR::CException", __LINE__,
                        "the loop's context was not created by this host");
  while (loop->waitForInput()) {
    // Otherwise a component that ignores a queued frame would be called for ever.
    if (!process() && loop->inputIsWaiting())
      throw loopException("QOR::CException", __LINE__, "the component does not read its input");
  }
  flush();
}

void CMMultipleQueueComponent::addInputReader(const RPtr<RQFrameReader>& reader) {
  inputReaders_.push_back(reader);
}

void CMMultipleQueueComponent::addOutputWriter(const RPtr<RQFrameWriter>& writer) {
  outputWriters_.push_back(writer);
}

const std::vector<RPtr<RQFrameReader>>& CMMultipleQueueComponent::inputReaders() const {
  return inputReaders_;
}

const std::vector<RPtr<RQFrameWriter>>& CMMultipleQueueComponent::outputWriters() const {
  return outputWriters_;
}

RFilter::RFilter() = default;
RFilter::~RFilter() = default;

}  // namespace QOR::CM
