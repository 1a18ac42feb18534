// Small modules with one behaviour each, chosen when they are compiled, to see how the host takes
// it.
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <vector>

#include "lib/cm/CMComponent.h"

namespace {

using namespace QOR;      // NOLINT(google-build-using-namespace)
using namespace QOR::CM;  // NOLINT(google-build-using-namespace)

constexpr bool is(const char* behaviour) {
  const char* own = STUB_BEHAVIOUR;
  while (*own != '\0' && *own == *behaviour) ++own, ++behaviour;
  return *own == *behaviour;
}

CException contractException(const char* message) {
  return CException("QOR::CException", 1, "stub_module", "stub",
                    CString::createWithFormat("%s", message));
}

class Stub final : public RFilter {
 public:
  using RFilter::process;

  bool process() override {
    if (is("leaves_input")) return false;
    const RPtr<RVideoFrame> frame = inputReaders()[0]->nextFrame();
    if (!frame) return false;
    if (is("throws")) throw contractException("no third frame, please");
    if (is("throws_standard")) throw std::runtime_error("a standard exception");
    if (is("throws_number")) throw 5;
    if (is("puts_empty")) {
      outputWriters()[0]->put(RPtr<const RFrame>());
    } else if (is("puts_short")) {
      outputWriters()[0]->put(RPtr<const RFrame>(RVideoFrame::createWithData(
          frame.get(), fourcc_, 1, frame->data(), 0, ConstructionCopyData)));
    } else {
      outputWriters()[0]->put(frame);
    }
    return true;
  }

  void flush() override {}

  Result configure(RFilterConfiguration& config) override {
    if (is("declines")) throw contractException("*** ERROR ***: not this one");
    if (is("refuses")) return 7;
    if (is("hostile_text")) {
      std::puts("printed \x1b[2J\u009b\xff");
      throw contractException("not \x1b[2J\u009b\xff");
    }
    if (is("configure_throws")) throw std::runtime_error("a standard exception");
    outputWriters()[0]->setDescription(inputReaders()[0]->getDescription());
    fourcc_ = config.getFourCC("system_informat", 0);
    if (is("tells_keys")) {
      std::printf("greeting %08x, system_informat %08x\n", config.getFourCC("greeting", 0),
                  fourcc_);
      return 0;
    }
    std::printf("configured\n");
    return 0;
  }

 private:
  unsigned int fourcc_ = 0;
};

// A component, but of no kind that takes a stream and gives one.
class NoFilter final : public RComponent {
 public:
  unsigned int type() const override { return 0x736F7572; }  // 'sour'
  bool process() override { return false; }
  bool process(RPtr<RFrame> /*frame*/) override { return false; }
  void flush() override {}
};

}  // namespace

#define STUB_EXPORT extern "C" __attribute__((visibility("default")))

#ifdef STUB_NO_FACTORY
STUB_EXPORT int someOtherFunction() { return sizeof(Stub) > sizeof(NoFilter) ? 1 : 0; }
#else
STUB_EXPORT RComponent* getComponentInstance() {
  if (is("factory_throws")) throw std::runtime_error("a standard exception");
  if (is("factory_null")) return nullptr;
  if (is("no_filter")) return new NoFilter;
  return new Stub;
}
#endif
