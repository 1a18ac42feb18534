// To be preloaded: of the threads that a process starts, the first FAILING_THREADS_FROM can be
// started, as if the limit on processes were reached then.
#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>

extern "C" __attribute__((visibility("default"))) int pthread_create(
    pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*), void* argument) {
  static std::atomic<int> started{0};
  using Create = decltype(&pthread_create);
  static const auto create = reinterpret_cast<Create>(::dlsym(RTLD_NEXT, "pthread_create"));
  const char* const from = std::getenv("FAILING_THREADS_FROM");
  if (from != nullptr && started++ >= std::atoi(from)) return EAGAIN;
  return create(thread, attributes, body, argument);
}
