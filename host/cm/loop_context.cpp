#include "host/cm/loop_context.h"

#include <utility>

namespace cm {

LoopContext::LoopContext(QOR::RPtr<InputQueue> input, FailureHandler onFailure)
    : input_(std::move(input)), onFailure_(std::move(onFailure)) {}

LoopContext::~LoopContext() = default;

QOR::RPtr<LoopContext> LoopContext::create(QOR::RPtr<InputQueue> input, FailureHandler onFailure) {
  return {new LoopContext(std::move(input), std::move(onFailure))};
}

}  // namespace cm
