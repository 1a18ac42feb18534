#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "signal/dispatch.h"
#include "signal/processor_identification.h"
#include "signal/processor_variant.h"

namespace ns_signal {

/// The name of a variant in the messages of failing tests.
inline void PrintTo(const variant* v, std::ostream* out) { *out << v->name; }

}  // namespace ns_signal

/// Every variant that this machine can run, the portable ones first.
inline std::vector<const ns_signal::variant*> runnable_variants() {
  const unsigned long long features = ns_signal::all_features(ns_signal::this_processor());
  std::vector<const ns_signal::variant*> runnable;
  for (const ns_signal::variant* const* v = ns_signal::all_variants; *v != nullptr; ++v) {
    if ((features & (*v)->required) == (*v)->required) {
      runnable.push_back(*v);
    }
  }
  return runnable;
}

/// A variant's name in a form that is allowed in test names.
inline std::string spelled(const ns_signal::variant* v) {
  std::string name;
  for (const char* c = v->name; *c != 0; ++c) {
    if ((*c >= 'a' && *c <= 'z') || (*c >= 'A' && *c <= 'Z') || (*c >= '0' && *c <= '9')) {
      name += *c;
    }
  }
  return name;
}

/// Forces a variant, through index 0, and a thread count, and restores the previous ones.
class variant_scope {
 public:
  explicit variant_scope(const ns_signal::variant& v, int threads = 1)
      : entry_(ns_signal::variant_table[0]),
        index_(ippJumpIndexForMergedLibs),
        threads_(ownGetNumThreads()) {
    ns_signal::variant_table[0] = &v;
    ippJumpIndexForMergedLibs = 0;
    ippSetNumThreads(threads);
  }
  ~variant_scope() {
    ns_signal::variant_table[0] = entry_;
    ippJumpIndexForMergedLibs = index_;
    ippSetNumThreads(threads_);
  }
  variant_scope(const variant_scope&) = delete;
  variant_scope& operator=(const variant_scope&) = delete;

 private:
  const ns_signal::variant* entry_;
  int index_;
  int threads_;
};
