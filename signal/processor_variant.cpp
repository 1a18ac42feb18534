#include "signal/processor_variant.h"

#include <omp.h>

#include <algorithm>

#include "signal/dispatch.h"
#include "signal/processor_identification.h"
#include "signal/shared_word.h"

int ippJumpIndexForMergedLibs = 0;
int ippJumpIndexForMergedLibsLP = 0;
unsigned int ownFeaturesMask[2] = {3, 0};
int threads_omp_of_n_ipp = 1;

namespace {

using ns_signal::load_shared;
using ns_signal::store_shared;

constexpr int status_ok = 0;
constexpr int status_size = -6;
constexpr int status_null_pointer = -8;
constexpr int status_not_identified = 36;

// The words at `features` that request a leaf of the caller's choice: "getinfoa", first letter in
// the lowest byte.
constexpr unsigned int leaf_request[2] = {0x69746567, 0x616f666e};

unsigned long long detected_features = 0;
bool features_detected = false;

unsigned long long processor_features() {
  if (!__atomic_load_n(&features_detected, __ATOMIC_ACQUIRE)) {
    store_shared(detected_features, ns_signal::all_features(ns_signal::this_processor()));
    __atomic_store_n(&features_detected, true, __ATOMIC_RELEASE);
  }
  return load_shared(detected_features);
}

}  // namespace

int ippGetCpuFeatures(unsigned int* features, unsigned int* info) {
  if (!ns_signal::can_identify()) {
    return status_not_identified;
  }
  if (features == nullptr) {
    return status_null_pointer;
  }
  if (info != nullptr) {
    const bool leaf_requested = features[0] == leaf_request[0] && features[1] == leaf_request[1];
    const ns_signal::cpuid_words words =
        leaf_requested ? ns_signal::identify(info[0], info[2]) : ns_signal::identify(1, 0);
    info[0] = words.eax;
    info[1] = words.ebx;
    info[2] = words.ecx;
    info[3] = words.edx;
  }
  features[0] = static_cast<unsigned int>(processor_features());
  features[1] = 0;
  return status_ok;
}

int ippStaticInit() {
  ippSetNumThreads(std::min(omp_get_num_procs(), omp_get_max_threads()));

  unsigned int features[2] = {0, 0};
  const bool identified = ippGetCpuFeatures(features, nullptr) == status_ok;
  const ns_signal::variant_choice choice =
      ns_signal::choose_variant(identified, features[0], ns_signal::is_genuine());
  ippSetCpuFeaturesMask(choice.enabled, 0);
  store_shared(ns_signal::variant_table[2], &ns_signal::widest_v8_variant(processor_features()));
  store_shared(ns_signal::variant_table[3], &ns_signal::widest_p8_variant(processor_features()));
  store_shared(ippJumpIndexForMergedLibsLP, choice.low_power);
  store_shared(ippJumpIndexForMergedLibs, choice.index);
  return choice.status;
}

int ippInit() { return ippStaticInit(); }

int ippSetCpuFeaturesMask(unsigned int low, unsigned int high) {
  store_shared(ownFeaturesMask[0], low);
  store_shared(ownFeaturesMask[1], high);
  return status_ok;
}

unsigned long long ippGetEnabledCpuFeatures() {
  const unsigned long long high = load_shared(ownFeaturesMask[1]);
  return high << 32 | load_shared(ownFeaturesMask[0]);
}

int ippSetNumThreads(int count) {
  if (count < 1) {
    return status_size;
  }
  store_shared(threads_omp_of_n_ipp, count);
  return status_ok;
}

int ippGetNumThreads(int* count) {
  if (count == nullptr) {
    return status_null_pointer;
  }
  *count = ownGetNumThreads();
  return status_ok;
}

int ownGetNumThreads() { return load_shared(threads_omp_of_n_ipp); }
