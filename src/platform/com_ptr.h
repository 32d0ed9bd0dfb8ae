// ComPtr<T>: an owning interface pointer. Copies add a reference, destruction releases one.
//
//   ComPtr<IMediaSeeking> seeking;
//   if (SUCCEEDED(filter->QueryInterface(IID_IMediaSeeking, seeking.Void()))) seeking->GetDuration(&duration);
//
// Not safe for use of one object from several threads without a lock, like any pointer.
#pragma once

#include <utility>

#include "platform/com.h"

namespace vantor {

template <typename Interface>
class ComPtr {
 public:
  ComPtr() noexcept = default;
  ComPtr(std::nullptr_t) noexcept {}
  // Shares: adds a reference of its own.
  explicit ComPtr(Interface* pointer) noexcept : pointer_(pointer) {
    if (pointer_ != nullptr) {
      pointer_->AddRef();
    }
  }
  ComPtr(const ComPtr& other) noexcept : ComPtr(other.pointer_) {}
  ComPtr(ComPtr&& other) noexcept : pointer_(std::exchange(other.pointer_, nullptr)) {}
  ~ComPtr() { Reset(); }

  ComPtr& operator=(ComPtr other) noexcept {
    std::swap(pointer_, other.pointer_);
    return *this;
  }

  // Takes over a reference that the caller holds already.
  static ComPtr Adopt(Interface* pointer) noexcept {
    ComPtr result;
    result.pointer_ = pointer;
    return result;
  }

  void Reset() noexcept {
    if (Interface* old = std::exchange(pointer_, nullptr)) {
      old->Release();
    }
  }
  // Gives the reference to the caller.
  Interface* Detach() noexcept { return std::exchange(pointer_, nullptr); }

  // For out-parameters: lets go of what is held and gives the address to fill.
  Interface** Out() noexcept {
    Reset();
    return &pointer_;
  }
  void** Void() noexcept { return reinterpret_cast<void**>(Out()); }

  Interface* Get() const noexcept { return pointer_; }
  Interface* operator->() const noexcept { return pointer_; }
  Interface& operator*() const noexcept { return *pointer_; }
  explicit operator bool() const noexcept { return pointer_ != nullptr; }

 private:
  Interface* pointer_ = nullptr;
};

}  // namespace vantor
