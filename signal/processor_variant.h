#pragma once

/// The choice of a processor variant for the signal primitives, and the thread count of the
/// Gaussian filter.
///
/// Every primitive has variants for several processor levels, which give the same bits; it calls
/// through a table indexed by `ippJumpIndexForMergedLibs`:
///
///   index  variant  processor
///   0      `w7_`    before `ippStaticInit`, and without SSE2 or on other architectures
///   1      `w7_`    SSE2
///   2      `v8_`    SSSE3
///   3      `p8_`    SSE4.1
///
/// If a level's variant is not built (on other architectures), its entry is the portable code.
/// After `ippStaticInit`, this is also true if the processor has the level but lacks a lower one
/// (because a hypervisor hides it).
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
/// Threads: `ippStaticInit` writes process-wide words without locking. Concurrent calls write the
/// same values, so any thread may call it at any time.

#ifdef __cplusplus
extern "C" {
#endif

/// The current variant, 0 to 3; 0 until `ippStaticInit`. The primitives treat any other value as 0.
/// Code that writes it before `ippStaticInit` must make sure that the processor has that level.
extern int ippJumpIndexForMergedLibs;

/// 1 on a low-power processor (SSSE3 and MOVBE without SSE4.1), else 0. No table uses it.
extern int ippJumpIndexForMergedLibsLP;

/// The enabled features, low word first; (3, 0) until `ippStaticInit`.
extern unsigned int ownFeaturesMask[2];

/// Maximum number of threads of the Gaussian filter; 1 until `ippStaticInit`, never below 1.
extern int threads_omp_of_n_ipp;

/// Identifies the processor, chooses the variant, records the enabled features and sets the thread
/// count to the smaller of the processor count and the OpenMP runtime's thread limit. May be called
/// repeatedly: the processor is not identified again, the same words are set, and the thread limits
/// are read again.
///
/// Returns 0, 20 or 36. The primitives work in any case.
int ippStaticInit(void);

/// The same as `ippStaticInit`.
int ippInit(void);

/// Reads the features of the processor.
///
/// `features`: two words, receives the feature mask. `info`: four words for EAX, EBX, ECX, EDX of
/// identification leaf 1, or null. If the words at `features` are 0x69746567, 0x616f666e on entry,
/// `info` instead receives the leaf and sub-leaf given by its own first and third word.
///
/// Returns 36 if the processor cannot be identified (tested first; nothing is written), -8 if
/// `features` is null (nothing is written), else 0.
int ippGetCpuFeatures(unsigned int* features, unsigned int* info);

/// Stores the enabled features and returns 0. The current variant does not change.
int ippSetCpuFeaturesMask(unsigned int low, unsigned int high);

/// The enabled features: the low word in bits 0 to 31, the high word above.
unsigned long long ippGetEnabledCpuFeatures(void);

/// Sets the thread count: the team size that the Gaussian filter requests from the OpenMP runtime.
/// The caller must not set a count for which the runtime cannot allocate stacks (tens of
/// thousands). Returns 0, or -6 and changes nothing for a count below 1.
int ippSetNumThreads(int count);

/// Stores the thread count in `count`. Returns 0, or -8 if `count` is null.
int ippGetNumThreads(int* count);

/// The thread count.
int ownGetNumThreads(void);

#ifdef __cplusplus
}
#endif
