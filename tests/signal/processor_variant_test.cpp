#include "signal/processor_variant.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace {

#if defined(__x86_64__)

struct leaf {
  unsigned int eax, ebx, ecx, edx;
};

leaf ask(unsigned int number, unsigned int sub = 0) {
  leaf l{};
  __asm__ volatile("cpuid"
                   : "=a"(l.eax), "=b"(l.ebx), "=c"(l.ecx), "=d"(l.edx)
                   : "a"(number), "c"(sub));
  return l;
}

std::string vendor() {
  const leaf l = ask(0);
  char text[13] = {};
  std::memcpy(text, &l.ebx, 4);
  std::memcpy(text + 4, &l.edx, 4);
  std::memcpy(text + 8, &l.ecx, 4);
  return text;
}

TEST(StaticInit, ReportsThisProcessor) {
  const int status = ippStaticInit();

  unsigned int f[2] = {1, 1};
  ASSERT_EQ(ippGetCpuFeatures(f, nullptr), 0);
  EXPECT_EQ(f[1], 0U);
  const int index = __builtin_cpu_supports("sse4.1") ? 3 : __builtin_cpu_supports("ssse3") ? 2 : 1;
  EXPECT_EQ(ippJumpIndexForMergedLibs, index);
  const unsigned int kept[] = {0x3, 0x7, 0x1f, 0xcdf};
  EXPECT_EQ(ippGetEnabledCpuFeatures(), f[0] & kept[index]);
  EXPECT_EQ(ownFeaturesMask[0], f[0] & kept[index]);
  EXPECT_EQ(ownFeaturesMask[1], 0U);
  EXPECT_EQ(ippJumpIndexForMergedLibsLP, index == 2 && (f[0] & 0x20) != 0 ? 1 : 0);
  EXPECT_EQ(status, vendor() == "GenuineIntel" ? 0 : 20);
  EXPECT_EQ(ippInit(), status);
}

TEST(CpuFeatures, AgreesWithTheCompilersOwnDetection) {
  unsigned int f[2] = {0, 0};
  ASSERT_EQ(ippGetCpuFeatures(f, nullptr), 0);
  EXPECT_EQ((f[0] & 0x4) != 0, __builtin_cpu_supports("sse2") != 0);
  EXPECT_EQ((f[0] & 0x8) != 0, __builtin_cpu_supports("sse3") != 0);
  EXPECT_EQ((f[0] & 0x10) != 0, __builtin_cpu_supports("ssse3") != 0);
  EXPECT_EQ((f[0] & 0x40) != 0, __builtin_cpu_supports("sse4.1") != 0);
  EXPECT_EQ((f[0] & 0x80) != 0, __builtin_cpu_supports("sse4.2") != 0);
  EXPECT_EQ((f[0] & 0x300) == 0x300, __builtin_cpu_supports("avx") != 0);
  EXPECT_EQ(f[0] & ~0x1fffU, 0U);
}

TEST(CpuFeatures, FillsTheProcessorInfoFromLeafOne) {
  unsigned int f[2] = {0, 0};
  unsigned int info[4] = {};
  ASSERT_EQ(ippGetCpuFeatures(f, info), 0);
  const leaf l = ask(1);
  EXPECT_EQ(info[0], l.eax);
  EXPECT_EQ(info[2], l.ecx);
  EXPECT_EQ(info[3], l.edx);
  // The top byte of EBX is the number of the core that executed the instruction.
  EXPECT_EQ(info[1] & 0xffffff, l.ebx & 0xffffff);
}

TEST(CpuFeatures, QueriesTheLeafAskedFor) {
  unsigned int plain[2] = {0, 0};
  ASSERT_EQ(ippGetCpuFeatures(plain, nullptr), 0);

  unsigned int f[2] = {0x69746567, 0x616f666e};
  unsigned int info[4] = {0, 77, 0, 77};
  ASSERT_EQ(ippGetCpuFeatures(f, info), 0);
  const leaf zero = ask(0);
  EXPECT_EQ(info[0], zero.eax);
  EXPECT_EQ(info[1], zero.ebx);
  EXPECT_EQ(info[2], zero.ecx);
  EXPECT_EQ(info[3], zero.edx);
  EXPECT_EQ(f[0], plain[0]);
  EXPECT_EQ(f[1], 0U);

  f[0] = 0x69746567;
  f[1] = 0x616f666e;
  info[0] = 7;
  info[2] = 1;
  ASSERT_EQ(ippGetCpuFeatures(f, info), 0);
  EXPECT_EQ(info[0], ask(7, 1).eax);

  // One of the two words alone requests nothing.
  f[0] = 0x69746567;
  f[1] = 0;
  info[0] = 0;
  info[2] = 0;
  ASSERT_EQ(ippGetCpuFeatures(f, info), 0);
  EXPECT_EQ(info[0], ask(1).eax);

  // With a null `info`, the features are still returned.
  f[0] = 0x69746567;
  f[1] = 0x616f666e;
  ASSERT_EQ(ippGetCpuFeatures(f, nullptr), 0);
  EXPECT_EQ(f[0], plain[0]);
}

TEST(CpuFeatures, RefusesANullPointer) {
  unsigned int info[4] = {5, 6, 7, 8};
  EXPECT_EQ(ippGetCpuFeatures(nullptr, info), -8);
  EXPECT_EQ(info[0], 5U);
  EXPECT_EQ(info[3], 8U);
}

#endif  // x86-64

TEST(EnabledFeatures, AreWhatWasStored) {
  EXPECT_EQ(ippSetCpuFeaturesMask(0x89abcdef, 0x01234567), 0);
  EXPECT_EQ(ippGetEnabledCpuFeatures(), 0x0123456789abcdefULL);
  EXPECT_EQ(ownFeaturesMask[0], 0x89abcdefU);
  EXPECT_EQ(ownFeaturesMask[1], 0x01234567U);
}

TEST(ThreadCount, IsWhatWasSet) {
  EXPECT_EQ(ippSetNumThreads(7), 0);
  int count = 0;
  EXPECT_EQ(ippGetNumThreads(&count), 0);
  EXPECT_EQ(count, 7);
  EXPECT_EQ(ownGetNumThreads(), 7);
  EXPECT_EQ(threads_omp_of_n_ipp, 7);
}

TEST(ThreadCount, RefusesLessThanOneAndNull) {
  ASSERT_EQ(ippSetNumThreads(3), 0);
  for (const int count : {0, -1, INT_MIN}) {
    EXPECT_EQ(ippSetNumThreads(count), -6);
    EXPECT_EQ(ownGetNumThreads(), 3);
  }
  EXPECT_EQ(ippGetNumThreads(nullptr), -8);
}

TEST(StaticInit, TakesTheSmallerOfProcessorsAndThreadLimit) {
  const int limit = omp_get_max_threads();
  for (const int threads : {1, 2, 1000}) {
    omp_set_num_threads(threads);
    ippSetNumThreads(99);
    ippStaticInit();
    EXPECT_EQ(ownGetNumThreads(), std::min(omp_get_num_procs(), threads));
  }
  omp_set_num_threads(limit);
}

TEST(StaticInit, MayRunOnManyThreadsAtOnce) {
  std::vector<int> statuses(8, -1);
  std::vector<std::thread> threads;
  threads.reserve(statuses.size());
  for (int& status : statuses) {
    threads.emplace_back([&status] { status = ippStaticInit(); });
  }
  for (std::thread& t : threads) {
    t.join();
  }
  for (const int status : statuses) {
    EXPECT_EQ(status, statuses[0]);
  }
}

}  // namespace
