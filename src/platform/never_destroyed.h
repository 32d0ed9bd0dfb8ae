// An object that is never destroyed, for function-local statics that threads may still use while the process ends:
//
//   static NeverDestroyed<Registry> registry;
//   registry->Find(name);
//
// Construction allocates nothing. What the object owns at the end goes with the process.
#pragma once

#include <cstddef>
#include <memory>
#include <utility>

namespace vantor {

template <typename T>
class NeverDestroyed {
 public:
  template <typename... Arguments>
  explicit NeverDestroyed(Arguments&&... arguments)
      : object_(std::construct_at(reinterpret_cast<T*>(storage_), std::forward<Arguments>(arguments)...)) {}
  NeverDestroyed(const NeverDestroyed&) = delete;
  NeverDestroyed& operator=(const NeverDestroyed&) = delete;

  T& operator*() noexcept { return *object_; }
  T* operator->() noexcept { return object_; }

 private:
  alignas(T) std::byte storage_[sizeof(T)];
  T* object_;
};

}  // namespace vantor
