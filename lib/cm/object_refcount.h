#pragma once

#include <atomic>

#include "lib/cm/CMExport.h"

namespace lumbase {

/// Base of all host objects that components hold: descriptions, frames, configurations.
///
/// A new object has a reference count of 0. To keep it, call `retain` and later `release`, or use
/// `QOR::RPtr`, which does both; the `release` of the last reference destroys the object. A plain
/// pointer returned by a host call therefore holds no reference: the caller must retain the object,
/// and the matching `release` destroys it.
///
/// Threads: any number of threads may call `retain` and `release` at the same time, as long as some
/// reference keeps the object alive during the call.
class CM_API object_refcount {
 public:
  object_refcount(const object_refcount&) = delete;
  object_refcount& operator=(const object_refcount&) = delete;

  /// Adds a reference.
  void retain() const;

  /// Removes a reference and destroys the object if it was the last one.
  void release() const;

 protected:
  object_refcount();
  virtual ~object_refcount();

 private:
  mutable std::atomic<unsigned int> references_;
};

}  // namespace lumbase
