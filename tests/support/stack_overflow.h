#pragma once

/// For functions that intentionally do something that sanitizers report.
#if defined(__clang__)
#define WITHOUT_SANITIZERS __attribute__((no_sanitize("address", "undefined", "thread"), noinline))
#else
#define WITHOUT_SANITIZERS __attribute__((no_sanitize("address", "undefined"), noinline))
#endif

/// Overflows the stack of this thread. The parameter is for the recursion only.
WITHOUT_SANITIZERS inline int overflowStack(volatile char* before = nullptr) {
  static volatile bool forEver = true;
  volatile char here[4096];
  here[0] = before != nullptr ? before[0] : '\0';
  return forEver ? overflowStack(here) + here[0] : 0;
}
