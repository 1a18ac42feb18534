#pragma once

/// The choice of a processor variant for the signal primitives, and the thread count of the
/// Gaussian filter.
///
/// Every primitive exists in variants for several processor levels that give the same bits; it
/// jumps through a table indexed by `ippJumpIndexForMergedLibs`:
///
///   index  variant  processor
///   0      `w7_`    before `ippStaticInit`, and without SSE2 or on other architectures
///   1      `w7_`    SSE2
///   2      `v8_`    SSSE3
///   3      `p8_`    SSE4.1
///
/// Where a level's variant is not built (on other architectures), its entry is the portable code;
/// after `ippStaticInit` also where the processor has the level but not all levels below it
/// (because a hypervisor hides one).
///
/// Feature masks are two 32-bit words, low word first; the high word is always 0. Low word:
/// 0x1 MMX, 0x2 SSE, 0x4 SSE2, 0x8 SSE3, 0x10 SSSE3, 0x20 MOVBE, 0x40 SSE4.1, 0x80 SSE4.2,
/// 0x100 AVX, 0x200 AVX enabled by the operating system, 0x400 AES, 0x800 carry-less multiply,
/// 0x1000 extension of processor family 11.
///
/// Statuses: 0 success; -6 a number below 1; -8 a null pointer; 20 the processor is not
/// "GenuineIntel" or cannot be identified (a warning); 36 it has no SSE2 or cannot be identified (a
/// warning).
///
/// Threads: `ippStaticInit` writes process-wide words without locking. Calls that run at the same
/// time write the same values, so any thread may call it at any time.

#ifdef __cplusplus
extern "C" {
#endif

/// The variant in force, 0 to 3; 0 until `ippStaticInit`. The primitives take any other value for
/// 0. Before `ippStaticInit`, whoever writes it answers for the processor having that level.
extern int ippJumpIndexForMergedLibs;

/// 1 on a low-power processor (SSSE3 and MOVBE without SSE4.1), else 0. No table consults it.
extern int ippJumpIndexForMergedLibsLP;

/// The enabled features, low word first; (3, 0) until `ippStaticInit`.
extern unsigned int ownFeaturesMask[2];

/// How many threads the Gaussian filter may use; 1 until `ippStaticInit`, never below 1.
extern int threads_omp_of_n_ipp;

/// Identifies the processor, chooses the variant, records the enabled features and sets the thread
/// count to the smaller of the processor count and the OpenMP runtime's thread limit. May be called
/// again and again: the processor is not identified anew, the same words are set, and the thread
/// limits are read anew.
///
/// Returns 0, 20 or 36. The primitives work whatever it returns.
int ippStaticInit(void);

/// The same as `ippStaticInit`.
int ippInit(void);

/// The features that the processor has.
///
/// `features`: two words, receives the feature mask. `info`: four words for EAX, EBX, ECX, EDX of
/// identification leaf 1, or null. When the words at `features` are 0x69746567, 0x616f666e on
/// entry, `info` receives the leaf and sub-leaf named by its own first and third word instead.
///
/// Returns 36 when the processor cannot be identified (tested first; nothing is written), -8 when
/// `features` is null (nothing is written), else 0.
int ippGetCpuFeatures(unsigned int* features, unsigned int* info);

/// Stores the enabled features and returns 0. The variant in force does not change.
int ippSetCpuFeaturesMask(unsigned int low, unsigned int high);

/// The enabled features: the low word in bits 0 to 31, the high word above.
unsigned long long ippGetEnabledCpuFeatures(void);

/// Sets the thread count: how large a team the Gaussian filter asks the OpenMP runtime for. A count
/// that the runtime cannot even count stacks for (tens of thousands) is the caller's mistake.
/// Returns 0, or -6 for a count below 1, which changes nothing.
int ippSetNumThreads(int count);

/// Stores the thread count. Returns 0, or -8 when `count` is null.
int ippGetNumThreads(int* count);

/// The thread count.
int ownGetNumThreads(void);

#ifdef __cplusplus
}
#endif
