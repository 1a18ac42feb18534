#pragma once

#include <atomic>

#include "lib/cm/CMExport.h"

namespace lumbase {

/// Base of every host object that a component holds: descriptions, frames, configurations.
///
/// A new object counts no reference. Whoever keeps one calls `retain` and later `release`, or lets
/// `QOR::RPtr` do both; the `release` that drops the last reference destroys the object. A pointer
/// that a host call returns without an `RPtr` around it therefore carries no reference of its own:
/// the caller takes one, and the object goes when that one is given back.
///
/// Threads: `retain` and `release` may be called by any number of threads at once, as long as each
/// caller's object is kept alive by some reference while the call runs.
class CM_API object_refcount {
 public:
  object_refcount(const object_refcount&) = delete;
  object_refcount& operator=(const object_refcount&) = delete;

  /// Adds a reference.
  void retain() const;

  /// Drops a reference and destroys the object when none is left.
  void release() const;

 protected:
  object_refcount();
  virtual ~object_refcount();

 private:
  mutable std::atomic<unsigned int> references_;
};

}  // namespace lumbase
