#include <cstdio>

#include "signal/dispatch.h"
#include "signal/processor_variant.h"

// Says what start-up finds and chooses on this processor; the tests run it as other ones.
int main() {
  const int status = ippStaticInit();
  std::printf("status %d, index %d, low power %d, enabled 0x%llx, %s\n", status,
              ippJumpIndexForMergedLibs, ippJumpIndexForMergedLibsLP, ippGetEnabledCpuFeatures(),
              ns_signal::current_variant().name);
}
