#include "signal/gaussian_filter.h"

#include "signal/dispatch.h"

namespace {

using ns_signal::gaussian_mask;
using ns_signal::gaussian_region;

constexpr int status_ok = 0;
constexpr int status_size = -6;
constexpr int status_null_pointer = -8;
constexpr int status_step = -14;
constexpr int status_mask = -33;

constexpr int mask_3x3 = 33;
constexpr int mask_5x5 = 55;

int check(const void* src, int src_step, const void* dst, int dst_step, IppiSize roi, int mask) {
  if (src == nullptr || dst == nullptr) {
    return status_null_pointer;
  }
  if (roi.width < 1 || roi.height < 1) {
    return status_size;
  }
  if (src_step < 1 || dst_step < 1) {
    return status_step;
  }
  return mask == mask_3x3 || mask == mask_5x5 ? status_ok : status_mask;
}

gaussian_region region_of(const void* src, int src_step, void* dst, int dst_step, IppiSize roi) {
  return {static_cast<const unsigned char*>(src),
          src_step,
          static_cast<unsigned char*>(dst),
          dst_step,
          roi.width,
          roi.height};
}

gaussian_mask mask_of(int code) {
  return code == mask_3x3 ? gaussian_mask::three : gaussian_mask::five;
}

}  // namespace

int ippiFilterGauss_8u_C1R(const unsigned char* pSrc, int srcStep, unsigned char* pDst, int dstStep,
                           IppiSize roi, int mask) {
  const int status = check(pSrc, srcStep, pDst, dstStep, roi, mask);
  if (status != status_ok) {
    return status;
  }
  const ns_signal::variant& variant = ns_signal::current_variant();
  return variant.walk_8u(variant.gaussian, region_of(pSrc, srcStep, pDst, dstStep, roi),
                         mask_of(mask));
}

int ippiFilterGauss_16u_C1R(const unsigned short* pSrc, int srcStep, unsigned short* pDst,
                            int dstStep, IppiSize roi, int mask) {
  const int status = check(pSrc, srcStep, pDst, dstStep, roi, mask);
  if (status != status_ok) {
    return status;
  }
  const ns_signal::gaussian_rows& gaussian = ns_signal::current_variant().gaussian;
  const auto filter = mask == mask_3x3 ? gaussian.filter_3x3_16u : gaussian.filter_5x5_16u;
  filter(region_of(pSrc, srcStep, pDst, dstStep, roi));
  return status_ok;
}
