#include "signal/processor_identification.h"

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#endif

namespace ns_signal {

#if defined(__x86_64__) || defined(__i386__)

namespace {

// Only valid if the operating system has enabled it (leaf 1, ECX bit 27).
unsigned int read_xcr0() {
  unsigned int eax = 0;
  unsigned int edx = 0;
  __asm__ volatile("xgetbv" : "=a"(eax), "=d"(edx) : "c"(0));
  return eax;
}

}  // namespace

// Toggles the ID flag, because an x86 processor may lack the instruction.
bool can_identify() { return __get_cpuid_max(0, nullptr) != 0; }

cpuid_words identify(unsigned int leaf, unsigned int sub_leaf) {
  cpuid_words words;
  if (can_identify()) {
    __cpuid_count(leaf, sub_leaf, words.eax, words.ebx, words.ecx, words.edx);
  }
  return words;
}

#else

namespace {

unsigned int read_xcr0() { return 0; }

}  // namespace

bool can_identify() { return false; }

cpuid_words identify(unsigned int, unsigned int) { return {}; }

#endif

processor_facts this_processor() {
  constexpr unsigned int xcr0_readable = 1U << 27;
  processor_facts facts;
  facts.leaf_1 = identify(1, 0);
  if (facts.leaf_1.ecx & xcr0_readable) {
    facts.xcr0 = read_xcr0();
  }
  if (identify(0, 0).eax >= 7) {
    facts.leaf_7 = identify(7, 0);
  }
  if ((facts.leaf_1.eax >> 8 & 0xf) == 11) {
    facts.leaf_20000001 = identify(0x20000001, 0);
  }
  return facts;
}

bool is_genuine() {
  const cpuid_words vendor = identify(0, 0);
  return vendor.ebx == 0x756e6547 && vendor.edx == 0x49656e69 && vendor.ecx == 0x6c65746e;
}

}  // namespace ns_signal
