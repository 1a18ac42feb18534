#pragma once

namespace QOR {

/// Pointer to a reference-counted object (`lumbase::object_refcount`). Copying retains, destruction
/// releases; an empty pointer is null. One `RPtr` object is used by one thread at a time; different
/// `RPtr` objects that point to the same object may be used by different threads.
template <typename T>
class RPtr {
 public:
  RPtr() = default;

  /// Retains `object`, which may be null.
  RPtr(T* object) : object_(object) { retain(); }

  RPtr(const RPtr& other) : object_(other.object_) { retain(); }
  RPtr(RPtr&& other) noexcept : object_(other.object_) { other.object_ = nullptr; }

  /// Converts from a pointer to a derived or less const type.
  template <typename U>
  RPtr(const RPtr<U>& other) : object_(other.get()) {
    retain();
  }

  ~RPtr() {
    if (object_ != nullptr) object_->release();
  }

  RPtr& operator=(RPtr other) noexcept {
    T* const previous = object_;
    object_ = other.object_;
    other.object_ = previous;
    return *this;
  }

  T* get() const { return object_; }
  T* operator->() const { return object_; }
  T& operator*() const { return *object_; }
  explicit operator bool() const { return object_ != nullptr; }

 private:
  void retain() const {
    if (object_ != nullptr) object_->retain();
  }

  T* object_ = nullptr;
};

}  // namespace QOR
