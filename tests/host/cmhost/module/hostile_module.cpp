// A module that misbehaves as its file name requests. DEED_in_PLACE does one thing in one place,
// for example `exits_in_process.so`; the other names are in `Hostile`.
#include <dlfcn.h>
#include <pthread.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>
#include <thread>

#include "lib/cm/CMComponent.h"
#include "tests/support/stack_overflow.h"

namespace {

using namespace QOR;      // NOLINT(google-build-using-namespace)
using namespace QOR::CM;  // NOLINT(google-build-using-namespace)

const char* ownPath() {
  Dl_info info = {};
  ::dladdr(reinterpret_cast<const void*>(&ownPath), &info);
  return info.dli_fname;
}

bool is(const std::string& name) {
  const std::string path = ownPath();
  const std::size_t begin = path.rfind('/') + 1;
  return path.substr(begin, path.rfind(".so") - begin) == name;
}

// Exceptions whose type, destructor and message are in this module.
struct Own {
  Own() = default;
  Own(const Own&) = default;
  virtual ~Own() { ++destroyed; }
  static volatile int destroyed;
};
volatile int Own::destroyed = 0;

struct Derived : std::exception {
  const char* what() const noexcept override { return "words of the module's own"; }
};

struct Silent : std::exception {
  const char* what() const noexcept override { return nullptr; }
};

const char* throwOwn() { throw Own(); }
const char* (*volatile throwOwnBy)() = throwOwn;

struct Explosive : std::exception {
  const char* what() const noexcept override { return throwOwnBy(); }
};

WITHOUT_SANITIZERS void writeToNowhere() {
  volatile int* volatile nowhere = nullptr;
  *nowhere = 1;
}

// A debugger trap, after which the program would continue.
void trap() {
#if defined(__x86_64__)
  __asm__ volatile("int3");
#else
  ::raise(SIGTRAP);
#endif
}

[[noreturn]] void spin() {
  for (volatile bool forever = true; forever;) {
  }
  std::abort();
}

[[noreturn]] void sleepForEver() {
  for (;;) ::pause();
}

[[noreturn]] void end() { std::exit(3); }
[[noreturn]] void endQuickly() { std::quick_exit(3); }
[[noreturn]] void endThread() { ::pthread_exit(nullptr); }
void endFromAnotherThread() { std::thread(end).join(); }

struct Deed {
  const char* name;
  void (*act)();
};

constexpr Deed deeds[] = {
    {"exits", end},
    {"quick_exits", endQuickly},
    {"exits_by_thread", endFromAnotherThread},
    {"ends_thread", endThread},
    {"spins", spin},
    {"sleeps", sleepForEver},
    {"throws_own", [] { throw Own(); }},
    {"throws_derived", [] { throw Derived(); }},
    {"throws_silent", [] { throw Silent(); }},
    {"throws_explosive", [] { throw Explosive(); }},
    {"throws_number", [] { throw 5; }},
    {"segfaults", writeToNowhere},
    {"overflows", [] { overflowStack(); }},
    {"aborts", [] { std::abort(); }},
    {"traps", trap},
};

void actIn(const char* place) {
  for (const Deed& deed : deeds)
    if (is(std::string(deed.name) + "_in_" + place)) deed.act();
}

class OwnDescription final : public RDescription {
 public:
  unsigned int width() const override { return 1; }
  unsigned int height() const override { return 1; }

 private:
  ~OwnDescription() override { ++Own::destroyed; }
};

class OwnFrame final : public RVideoFrame {
 public:
  unsigned char* data() const override { return nullptr; }

 private:
  ~OwnFrame() override { ++Own::destroyed; }
};

class Hostile final : public RFilter {
 public:
  using RFilter::process;

  Hostile() { actIn("constructor"); }
  ~Hostile() override {
    actIn("destructor");
    if (is("puts_after_its_loop")) put(last_);
  }

  unsigned int type() const override {
    actIn("type");
    return RFilter::type();
  }

  Result configure(RFilterConfiguration& /*config*/) override {
    actIn("configure");
    if (is("puts_while_configured"))
      for (int frame = 0; frame < 100; ++frame) put(nullptr);
    RPtr<const RDescription> description = inputReaders()[0]->getDescription();
    if (is("has_its_own_description")) description = new OwnDescription;
    outputWriters()[0]->setDescription(description);
    return 0;
  }

  void threadrunloop(lumbase::object_refcount* context) override {
    actIn("loop");
    if (is("returns_at_once")) return;
    if (is("returns_after_a_frame")) {
      process();
      return;
    }
    if (is("polls_for_ever"))
      for (;;) process();
    RFilter::threadrunloop(context);
  }

  bool process() override {
    actIn("process");
    const RPtr<RVideoFrame> frame = inputReaders()[0]->nextFrame();
    if (!frame) return false;
    ++taken_;
    if (is("fails_to_handle_its_exception")) throw Derived();
    // In slices, so that time in which the process is stopped is added.
    if (is("takes_half_a_second"))
      for (int slice = 0; slice < 10; ++slice) ::usleep(50000);
    if (is("puts_nothing")) return true;
    if (is("puts_every_second") && taken_ % 2 == 0) return true;
    if (is("puts_its_own_frames")) {
      put(new OwnFrame);
      return true;
    }
    if (is("puts_backwards") && last_ && taken_ % 2 == 0) {
      put(frame);
      put(last_);
    } else if (!is("puts_backwards")) {
      put(frame);
    }
    if (is("puts_twice")) put(frame);
    last_ = frame;
    return true;
  }

  void flush() override {
    actIn("flush");
    if (is("puts_again_at_the_end")) put(last_);
  }

  void handleException(const CException& exception) override {
    if (is("fails_to_handle_its_exception")) throw Own();
    RFilter::handleException(exception);
  }

 private:
  void put(const RPtr<const RFrame>& frame) { outputWriters()[0]->put(frame); }

  RPtr<RVideoFrame> last_;
  int taken_ = 0;
};

struct Lifetime {
  Lifetime() { actIn("load"); }
  ~Lifetime() { actIn("unload"); }
};
const Lifetime lifetime;

}  // namespace

extern "C" __attribute__((visibility("default"))) RComponent* getComponentInstance() {
  actIn("factory");
  return new Hostile;
}
