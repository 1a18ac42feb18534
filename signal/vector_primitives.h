#pragma once

#include <stddef.h>

/// Element-wise operations on vectors, and the aligned scratch allocator.
///
/// Names: 8u is `unsigned char`, 16u `unsigned short`, 32f `float`. Vectors are contiguous and need
/// no alignment beyond that of their elements. Lengths are in elements. Arguments: sources,
/// constant, destination, length, modes.
///
/// Element i of a destination depends only on element i of the sources. A destination may be one of
/// the sources of the same type; otherwise a destination must not overlap a source.
///
/// Statuses: 0 success; -8 a null pointer (tested first, for any length); -6 a length below 1. If a
/// status is not 0, nothing is written.
///
/// Results are the same bits on every processor, for any rounding mode, flushing of denormals and
/// trapping that the calling thread has set: all arithmetic is IEEE single precision, rounded to
/// nearest. The caller's settings are restored on return. If both operands of an addition or
/// multiplication are NaN, the payload of the result depends on the processor.
///
/// Threads: every function may run on any number of threads at the same time, on different data.

#ifdef __cplusplus
extern "C" {
#endif

/// dst[i] = src[i], exact.
int ippsConvert_8u32f(const unsigned char* src, float* dst, int len);

/// dst[i] = src[i], exact.
int ippsConvert_16u32f(const unsigned short* src, float* dst, int len);

/// dst[i] = src[i] x 2^-scaleFactor, rounded to an integer and clamped to 0..255.
///
/// The product is computed in single precision. The factor is halved (or doubled) step by step in
/// single precision: it is 0 for a scaleFactor above 149, infinity for one below -127. With
/// scaleFactor 0 there is no multiplication.
///
/// A product that is not below 255 (including infinity and 0 x infinity) gives 255, a negative one
/// 0. Other products are rounded: `roundMode` 1 to nearest, ties to even; 0 toward zero; any other
/// value to nearest, halves up. A NaN in the source gives 0 with modes 0 and 1, and 255 otherwise.
///
/// The invalid-operation flag is restored on return; other exception flags may be raised.
int ippsConvert_32f8u_Sfs(const float* src, unsigned char* dst, int len, int roundMode,
                          int scaleFactor);

/// dst[i] = src[i] x val. With val 1 the vector is copied bit by bit; with val 0 of either sign
/// every element becomes +0, including NaN and infinity.
int ippsMulC_32f(const float* src, float val, float* dst, int len);

/// dst[i] = src1[i] + src2[i].
int ippsAdd_32f(const float* src1, const float* src2, float* dst, int len);

/// dst[i] = src1[i] x src2[i].
int ippsMul_32f(const float* src1, const float* src2, float* dst, int len);

/// Copies the elements bit by bit.
int ippsCopy_32f(const float* src, float* dst, int len);

/// Sets every element to +0.
int ippsZero_32f(float* dst, int len);

/// The functions from which the allocator gets its memory: `malloc` and `free`, unless a test
/// replaces them. Must not be changed while memory is allocated or another thread allocates.
extern void* (*i_malloc)(size_t size);
extern void (*i_free)(void* block);

/// Allocates `length` bytes, aligned to 32 bytes and not initialised; release them with `ippFree`.
/// Returns null if `i_malloc` fails or `length` is negative. The pointer-sized word before the
/// block contains the address that `i_malloc` returned.
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
