#pragma once

#include "signal/processor_variant.h"

/// Which of the variant indices this machine may run: all up to the one that start-up chooses.
inline int highest_variant_index() {
  const int before = ippJumpIndexForMergedLibs;
  ippStaticInit();
  const int highest = ippJumpIndexForMergedLibs;
  ippJumpIndexForMergedLibs = before;
  return highest;
}

/// Forces an index and a thread count and puts the former ones back.
class variant_scope {
 public:
  explicit variant_scope(int index, int threads = 1)
      : index_(ippJumpIndexForMergedLibs), threads_(ownGetNumThreads()) {
    ippJumpIndexForMergedLibs = index;
    ippSetNumThreads(threads);
  }
  ~variant_scope() {
    ippJumpIndexForMergedLibs = index_;
    ippSetNumThreads(threads_);
  }
  variant_scope(const variant_scope&) = delete;
  variant_scope& operator=(const variant_scope&) = delete;

 private:
  int index_;
  int threads_;
};
