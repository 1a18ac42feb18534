// Tests of the module's file: its exports, the layout of its table of virtual functions, loading
// and unloading.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <fstream>
#include <string>

#include "host/cm/video_frame.h"
#include "tests/component/filter/video/static_watermark/test_host.h"

#if defined(__SANITIZE_ADDRESS__)
#define WITH_LEAK_CHECK 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define WITH_LEAK_CHECK 1
#endif
#endif
#ifdef WITH_LEAK_CHECK
#include <sanitizer/lsan_interface.h>
#endif

namespace {

using test_host::module;
using test_host::session;

// A leak report cannot name the functions of an unloaded module, so `leaks.supp` cannot suppress
// the component's leaks in these tests: in this scope all leaks are allowed.
class unlisted_leaks {
#ifdef WITH_LEAK_CHECK
  __lsan::ScopedDisabler disabler_;
#endif
 public:
  unlisted_leaks() {}  // not defaulted: the compiler would warn about an unused object
};

constexpr unsigned int iyuv = 0x49595556;

std::string output_of(const std::string& command) {
  std::FILE* const pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return "";
  std::string said;
  std::array<char, 256> buffer;
  while (std::fgets(buffer.data(), buffer.size(), pipe) != nullptr) said += buffer.data();
  pclose(pipe);
  return said;
}

TEST(Module, ExportsTheFactoryAlone) {
  EXPECT_EQ(output_of("nm --dynamic --defined-only --format=just-symbols " STATIC_WATERMARK_MODULE),
            "getComponentInstance\n");
}

using slot = void*;

// What the linker knows about a virtual function: its file and its name there.
Dl_info found(slot function) {
  Dl_info info = {};
  EXPECT_NE(::dladdr(function, &info), 0);
  return info;
}

TEST(Module, VirtualFunctionsStandInTheOrderOfTheContract) {
  const unlisted_leaks allowed;
  const module library;
  session s(library, 64, 32, iyuv);
  std::array<slot, 15> table;
  slot* start = nullptr;
  std::memcpy(&start, dynamic_cast<const void*>(s.filter.get()), sizeof start);
  std::memcpy(table.data(), start, sizeof table);

  struct host_function {
    std::size_t index;
    const char* name;
  };
  for (const host_function& f :
       {host_function{2,
                      "_ZN3QOR2CM24CMMultipleQueueComponent15handleExceptionERKNS_10CExceptionE"},
        host_function{5, "_ZN3QOR2CM10RComponent18componentWillResetEv"},
        host_function{6, "_ZN3QOR2CM10RComponent18handleNotificationERNS0_13CNotificationE"},
        host_function{7, "_ZN3QOR2CM10RComponent14isVPLComponentEv"},
        host_function{
            12, "_ZN3QOR2CM24CMMultipleQueueComponent13threadrunloopEPN7lumbase15object_refcountE"},
        host_function{
            13, "_ZN3QOR2CM24CMMultipleQueueComponent7runloopEPN7lumbase15object_refcountE"}}) {
    EXPECT_STREQ(found(table[f.index]).dli_sname, f.name) << "slot " << f.index;
  }
  // Not slot 0: a destructor that adds nothing may be that of the base.
  for (const std::size_t own : {1, 3, 4, 8, 9, 10, 11, 14}) {
    EXPECT_NE(std::string(found(table[own]).dli_fname).find("static_watermark.so"),
              std::string::npos)
        << "slot " << own;
  }

  QOR::CM::RFilter* const self = s.filter.get();
  const auto type = reinterpret_cast<unsigned int (*)(const QOR::CM::RFilter*)>(table[3]);
  EXPECT_EQ(type(self), 0x666c7472U);
  const auto process = reinterpret_cast<bool (*)(QOR::CM::RFilter*)>(table[8]);
  EXPECT_FALSE(process(self));
  const auto process_frame =
      reinterpret_cast<bool (*)(QOR::CM::RFilter*, QOR::RPtr<QOR::CM::RFrame>*)>(table[9]);
  QOR::RPtr<QOR::CM::RFrame> none;
  EXPECT_THROW(process_frame(self, &none), QOR::CException);
  const auto flush = reinterpret_cast<void (*)(QOR::CM::RFilter*)>(table[10]);
  flush(self);
  const auto threads = reinterpret_cast<unsigned int (*)(QOR::CM::RFilter*)>(table[11]);
  EXPECT_EQ(threads(self), 0U);
  const auto configure =
      reinterpret_cast<int (*)(QOR::CM::RFilter*, QOR::CM::RFilterConfiguration*)>(table[14]);
  s.settings->value = 0;
  EXPECT_THROW(configure(self, s.settings.get()), QOR::CException);
}

void load_use_and_unload() {
  const module library;
  session s(library, 64, 32, iyuv);
  s.configure();
  s.input->frames.emplace_back(cm::VideoFrame::create(iyuv, 64 * 32 * 3 / 2, {}));
  std::memset(s.input->frames[0]->data(), 100, 64 * 32 * 3 / 2);
  EXPECT_TRUE(s.filter->process());
  EXPECT_EQ(s.output->frames.size(), 1U);
}

// The module's `fork` handlers must be removed when it is unloaded.
void expect_fork_works() {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(0);
  int status = -1;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

TEST(Module, IsLoadedUsedAndUnloadedOverAndOver) {
  const unlisted_leaks allowed;
  for (int i = 0; i < 20; ++i) {
    ASSERT_FALSE(module::is_loaded());
    load_use_and_unload();
    expect_fork_works();
  }
  EXPECT_FALSE(module::is_loaded());
}

}  // namespace
