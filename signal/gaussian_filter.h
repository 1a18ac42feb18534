#pragma once

/// Gaussian smoothing of one-channel planes of 8-bit or 16-bit samples with a fixed 3x3 or 5x5
/// mask.
///
/// Mask 33: the outer product of (1, 2, 1) with itself; the sum is divided by 16, rounded to
/// nearest, ties to even.
///
/// Mask 55, not separable; the sum is divided by 571, rounded to nearest (a tie cannot occur):
///
///    2   7  12   7   2
///    7  31  52  31   7
///   12  52 127  52  12
///    7  31  52  31   7
///    2   7  12   7   2
///
/// `pSrc` and `pDst` point to the first pixel of a region of `roi.width` columns and `roi.height`
/// rows. Steps are the bytes from one row to the next, also in 16-bit planes; rows need not be
/// aligned. The source is read outside the region on all four sides, by one row or column with mask
/// 33 and by two with mask 55; the caller provides these. In the destination only the region is
/// written. Source and destination must not overlap, nor the rows of the destination.
///
/// Statuses, tested in this order; nothing is written unless the status is 0:
///   -8   `pSrc` or `pDst` is null
///   -6   the width or height is below 1
///   -14  a step is below 1
///   -33  the mask is neither 33 nor 55
///   -9   (8-bit, variants `w7_` and `v8_`) no scratch memory: `ippsMalloc_8u` failed, or the size
///        exceeds its 31-bit lengths
///   0    success
///
/// The result is the same on every processor and for every number of threads.
///
/// Threads: reentrant. The variants `w7_` and `v8_` of the 8-bit filter split the rows among up to
/// `ownGetNumThreads` OpenMP threads, with mask 33 only from 256 rows on; the calling thread is one
/// of them, and all have finished on return. Variant `p8_` and the 16-bit filter use only the
/// calling thread and its stack.
///
/// Fork: if a process has split rows among threads, its child uses only the calling thread, with
/// the same result, because the OpenMP runtime's threads do not exist in the child. The caller's
/// own parallel regions are not detected: if the parent ran one before `fork`, the child must set
/// the number of threads to 1 (`ippSetNumThreads`, after every `ippStaticInit`).
///
/// Unloading: the threads of the OpenMP runtime outlive the call. A shared object that contains
/// this library, was loaded with `dlopen` and may have used these threads must not be the last user
/// of the runtime when it is closed; otherwise libgomp is unmapped while its threads run.

struct IppiSize {
  int width;
  int height;
};

#ifdef __cplusplus
extern "C" {
#endif

int ippiFilterGauss_8u_C1R(const unsigned char* pSrc, int srcStep, unsigned char* pDst, int dstStep,
                           struct IppiSize roi, int mask);

int ippiFilterGauss_16u_C1R(const unsigned short* pSrc, int srcStep, unsigned short* pDst,
                            int dstStep, struct IppiSize roi, int mask);

#ifdef __cplusplus
}
#endif
