#pragma once

#include <stddef.h>

/// Element-wise operations on vectors, and the aligned scratch allocator.
///
/// Names: 8u is `unsigned char`, 16u `unsigned short`, 32f `float`. Vectors are contiguous and need
/// no alignment beyond that of their elements. Lengths count elements. Arguments: sources,
/// constant, destination, length, modes.
///
/// Element i of a destination depends on element i of the sources alone. A destination may be one
/// of the sources of the same type; apart from that a destination overlaps no source.
///
/// Statuses: 0 success; -8 a null pointer (tested first, length or no length); -6 a length below 1.
/// When a status is not 0, nothing is written.
///
/// Results are the same bits on every processor, and whatever rounding mode, flushing of denormals
/// or trapping the calling thread has set: all arithmetic is IEEE single precision, rounded to
/// nearest. The caller's settings are in force again on return. When both operands of an addition
/// or multiplication are NaN, the payload of the result is as the processor has it.
///
/// Threads: every function may run on any number of threads at once, on different data.

#ifdef __cplusplus
extern "C" {
#endif

/// dst[i] = src[i], exact.
int ippsConvert_8u32f(const unsigned char* src, float* dst, int len);

/// dst[i] = src[i], exact.
int ippsConvert_16u32f(const unsigned short* src, float* dst, int len);

/// dst[i] = src[i] x 2^-scaleFactor, rounded to an integer and limited to 0..255.
///
/// The product is formed in single precision, with a factor that has been halved (or doubled) in
/// single precision step by step: 0 for a scaleFactor above 149, infinity for one below -127. With
/// scaleFactor 0 nothing is multiplied.
///
/// A product that is not below 255 (infinity, and 0 x infinity too) gives 255, a negative one 0.
/// Between, `roundMode` 1 rounds to nearest, ties to even; 0 toward zero; any other value to
/// nearest, halves up. A NaN in the source gives 0 with the modes 0 and 1, and 255 otherwise.
///
/// The invalid-operation flag is on return what it was on entry; other exception flags may be
/// raised.
int ippsConvert_32f8u_Sfs(const float* src, unsigned char* dst, int len, int roundMode,
                          int scaleFactor);

/// dst[i] = src[i] x val. With val 1 the vector is copied bit by bit; with val 0 of either sign
/// every element becomes +0, NaN and infinity too.
int ippsMulC_32f(const float* src, float val, float* dst, int len);

/// dst[i] = src1[i] + src2[i].
int ippsAdd_32f(const float* src1, const float* src2, float* dst, int len);

/// dst[i] = src1[i] x src2[i].
int ippsMul_32f(const float* src1, const float* src2, float* dst, int len);

/// Copies the elements bit by bit.
int ippsCopy_32f(const float* src, float* dst, int len);

/// Sets every element to +0.
int ippsZero_32f(float* dst, int len);

/// Where the allocator's memory comes from: `malloc` and `free` until somebody (a test) puts other
/// functions in. Not to be changed while memory is held or another thread allocates.
extern void* (*i_malloc)(size_t size);
extern void (*i_free)(void* block);

/// `length` bytes at a multiple of 32, not initialised; to be released with `ippFree`. Null when
/// `i_malloc` has none or `length` is negative. The address that `i_malloc` gave stands in the
/// pointer word before the block.
void* ippMalloc(int length);

/// Releases a block from `ippMalloc` or `ippsMalloc_8u`; does nothing for null.
void ippFree(void* block);

/// As `ippMalloc`, but null for a length below 1.
unsigned char* ippsMalloc_8u(int len);

/// The same as `ippFree`.
void ippsFree(void* block);

#ifdef __cplusplus
}
#endif
