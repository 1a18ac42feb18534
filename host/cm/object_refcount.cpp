#include "lib/cm/object_refcount.h"

namespace lumbase {

object_refcount::object_refcount() : references_(0) {}

object_refcount::~object_refcount() = default;

void object_refcount::retain() const { references_.fetch_add(1, std::memory_order_relaxed); }

void object_refcount::release() const {
  // The last owner must see all changes that other threads made to the object.
  if (references_.fetch_sub(1, std::memory_order_acq_rel) <= 1) delete this;
}

}  // namespace lumbase
