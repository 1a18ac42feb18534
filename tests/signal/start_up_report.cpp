#include <cstdio>

#include "signal/dispatch.h"
#include "signal/processor_variant.h"

// Prints what is detected and chosen at start-up on this processor; the tests run it on emulated
// ones.
int main() {
  const int status = ippStaticInit();
  std::printf("status %d, index %d, low power %d, enabled 0x%llx, %s\n", status,
              ippJumpIndexForMergedLibs, ippJumpIndexForMergedLibsLP, ippGetEnabledCpuFeatures(),
              ns_signal::current_variant().name);
}
